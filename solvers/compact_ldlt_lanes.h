#pragma once
// Vectors of doubles for the vectorised passes of the compact routines. Each lane's −, × and /
// is the IEEE operation of its scalar; the instructions come from the path being compiled
// (compact_ldlt_paths.cpp): one 256-bit or 512-bit register, or whatever the compiler's default
// target splits them into. Product and difference stay two operations: the build never
// contracts them. Internal to solvers/.

#include <cstdint>
#include <cstring>

namespace compact_ldlt_lanes {

typedef double Lanes2 __attribute__((vector_size(2 * sizeof(double))));
typedef double Lanes4 __attribute__((vector_size(4 * sizeof(double))));
typedef double Lanes8 __attribute__((vector_size(8 * sizeof(double))));

template <typename Lanes>
constexpr std::int32_t LaneCount() {
  return static_cast<std::int32_t>(sizeof(Lanes) / sizeof(double));
}

template <typename Lanes>
[[gnu::always_inline]] inline Lanes LoadLanes(const double* source) {
  Lanes value;
  std::memcpy(&value, source, sizeof value);
  return value;
}

template <typename Lanes>
[[gnu::always_inline]] inline void StoreLanes(double* target, Lanes value) {
  std::memcpy(target, &value, sizeof value);
}

// sum − a·b in every lane: one multiplication, then one subtraction.
template <typename Lanes>
[[gnu::always_inline]] inline Lanes MinusProduct(Lanes sum, Lanes a, Lanes b) {
  Lanes product = a * b;
  return sum - product;
}

// The same with one a for all lanes. (The scalar stays a scalar operand here, so that the
// compiler broadcasts it with the instructions of the path being compiled.)
template <typename Lanes>
[[gnu::always_inline]] inline Lanes MinusProduct(Lanes sum, double a, Lanes b) {
  Lanes product = a * b;
  return sum - product;
}

}  // namespace compact_ldlt_lanes
