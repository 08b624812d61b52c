#pragma once
// The solve with interleaved right-hand sides, written once for every vector width and compiled
// per path in compact_ldlt_paths.cpp: row k of x holds element k of every right-hand side side
// by side, x[k·width + t], and each lane runs exactly the plain solve of its right-hand side.
// Internal to solvers/; notation as in compact_ldlt_kernels.h.

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "solvers/compact_ldlt_lanes.h"

namespace compact_ldlt_interleaved {

using namespace compact_ldlt_lanes;

// x(i) −= Σ_k l(i, k)·x(k), k from max(f(i), skipBelow) to i − 1 ascending, rows from
// max(1, skipBelow) on; one sum per lane, vectors of them side by side.
template <typename Lanes, std::int32_t vectors>
[[gnu::always_inline]] inline void Forward(std::int32_t n, const double* const* rowDiagonal,
                                           const std::int32_t* first, double* x,
                                           std::int32_t skipBelow) {
  constexpr std::int32_t laneWidth = LaneCount<Lanes>();
  constexpr std::int32_t width = vectors * laneWidth;
  for (std::int32_t i = std::max(1, skipBelow); i < n; ++i) {
    const double* rowOfL = rowDiagonal[i] - i;  // rowOfL[k] = l(i, k)
    double* xi = x + static_cast<std::size_t>(i) * width;
    Lanes sum[vectors];
#pragma GCC unroll 4
    for (std::int32_t v = 0; v < vectors; ++v) {
      sum[v] = LoadLanes<Lanes>(xi + v * laneWidth);
    }
    for (std::int32_t k = std::max(first[i], skipBelow); k < i; ++k) {
      double factor = rowOfL[k];
      const double* xk = x + static_cast<std::size_t>(k) * width;
#pragma GCC unroll 4
      for (std::int32_t v = 0; v < vectors; ++v) {
        sum[v] = MinusProduct(sum[v], factor, LoadLanes<Lanes>(xk + v * laneWidth));
      }
    }
#pragma GCC unroll 4
    for (std::int32_t v = 0; v < vectors; ++v) {
      StoreLanes(xi + v * laneWidth, sum[v]);
    }
  }
}

// x(i) := x(i) / d(i) for every row.
template <typename Lanes, std::int32_t vectors>
[[gnu::always_inline]] inline void Diagonal(std::int32_t n, const double* const* rowDiagonal,
                                            double* x) {
  constexpr std::int32_t laneWidth = LaneCount<Lanes>();
  constexpr std::int32_t width = vectors * laneWidth;
  for (std::int32_t i = 0; i < n; ++i) {
    double di = rowDiagonal[i][0];
    double* xi = x + static_cast<std::size_t>(i) * width;
#pragma GCC unroll 4
    for (std::int32_t v = 0; v < vectors; ++v) {
      StoreLanes(xi + v * laneWidth, LoadLanes<Lanes>(xi + v * laneWidth) / di);
    }
  }
}

// By columns of Lᵀ, row i from n − 1 down to 1: x(k) −= l(i, k)·x(i), k from f(i) to i − 1.
// The updates of one row touch different x(k), so they run side by side on their own.
template <typename Lanes, std::int32_t vectors>
[[gnu::always_inline]] inline void Backward(std::int32_t n, const double* const* rowDiagonal,
                                            const std::int32_t* first, double* x) {
  constexpr std::int32_t laneWidth = LaneCount<Lanes>();
  constexpr std::int32_t width = vectors * laneWidth;
  for (std::int32_t i = n - 1; i >= 1; --i) {
    const double* rowOfL = rowDiagonal[i] - i;
    const double* xiSource = x + static_cast<std::size_t>(i) * width;
    Lanes xi[vectors];
#pragma GCC unroll 4
    for (std::int32_t v = 0; v < vectors; ++v) {
      xi[v] = LoadLanes<Lanes>(xiSource + v * laneWidth);
    }
    for (std::int32_t k = first[i]; k < i; ++k) {
      double factor = rowOfL[k];
      double* xk = x + static_cast<std::size_t>(k) * width;
#pragma GCC unroll 4
      for (std::int32_t v = 0; v < vectors; ++v) {
        StoreLanes(xk + v * laneWidth,
                   MinusProduct(LoadLanes<Lanes>(xk + v * laneWidth), factor, xi[v]));
      }
    }
  }
}

template <typename Lanes, std::int32_t vectors>
[[gnu::always_inline]] inline void SolveVectors(std::int32_t n, const double* const* rowDiagonal,
                                                const std::int32_t* first, double* x,
                                                std::int32_t skipBelow) {
  Forward<Lanes, vectors>(n, rowDiagonal, first, x, skipBelow);
  Diagonal<Lanes, vectors>(n, rowDiagonal, x);
  Backward<Lanes, vectors>(n, rowDiagonal, first, x);
}

// width right-hand sides in vectors of Lanes (width a multiple of its lane count: 1 to 4, 6 or 8
// vectors); the vector count is a constant in each branch, so that the sums stay in registers.
template <typename Lanes>
[[gnu::always_inline]] inline void SolveWidth(std::int32_t n, const double* const* rowDiagonal,
                                              const std::int32_t* first, double* x,
                                              std::int32_t width, std::int32_t skipBelow) {
  switch (width / LaneCount<Lanes>()) {
    case 1:
      SolveVectors<Lanes, 1>(n, rowDiagonal, first, x, skipBelow);
      break;
    case 2:
      SolveVectors<Lanes, 2>(n, rowDiagonal, first, x, skipBelow);
      break;
    case 3:
      SolveVectors<Lanes, 3>(n, rowDiagonal, first, x, skipBelow);
      break;
    case 4:
      SolveVectors<Lanes, 4>(n, rowDiagonal, first, x, skipBelow);
      break;
    case 6:
      SolveVectors<Lanes, 6>(n, rowDiagonal, first, x, skipBelow);
      break;
    default:
      SolveVectors<Lanes, 8>(n, rowDiagonal, first, x, skipBelow);
      break;
  }
}

}  // namespace compact_ldlt_interleaved
