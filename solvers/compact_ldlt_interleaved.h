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

template <typename Lanes>
[[gnu::always_inline]] inline void SolveOne(std::int32_t n, const double* const* rowDiagonal,
                                            const std::int32_t* first, double* x);

// width right-hand sides in vectors of Lanes: one alone (SolveOne; the leading zeros need not
// be skipped, the plain order gives the same bits), or a multiple of the lane count, 1 to 4, 6
// or 8 vectors; the vector count is a constant in each branch, so that the sums stay in
// registers.
template <typename Lanes>
[[gnu::always_inline]] inline void SolveWidth(std::int32_t n, const double* const* rowDiagonal,
                                              const std::int32_t* first, double* x,
                                              std::int32_t width, std::int32_t skipBelow) {
  if (width == 1) {
    SolveOne<Lanes>(n, rowDiagonal, first, x);
    return;
  }
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

// One right-hand side x (n contiguous doubles). Forward: every row's sum is a chain of
// dependent subtractions, so one row at a time waits on each one; a group of rowsTogether rows
// runs its chains side by side instead, each still in ascending k: first each row alone up to
// where all have started (its lead), then all together up to the group's first row (the joint
// part), then the triangle inside the group, each row taking the rows finished just before.
template <std::int32_t rowsTogether>
[[gnu::always_inline]] inline void ForwardOne(std::int32_t n, const double* const* rowDiagonal,
                                              const std::int32_t* first, double* x) {
  for (std::int32_t i0 = 1; i0 < n; i0 += rowsTogether) {
    const std::int32_t count = std::min(rowsTogether, n - i0);
    if (count < rowsTogether) {
      for (std::int32_t i = i0; i < n; ++i) {
        const double* rowOfL = rowDiagonal[i] - i;
        double sum = x[i];
        for (std::int32_t k = first[i]; k < i; ++k)
          sum = sum - rowOfL[k] * x[k];
        x[i] = sum;
      }
      return;
    }
    const double* rowOfL[rowsTogether];
    double sum[rowsTogether];
    std::int32_t joint = 0;  // where every row of the group has started, at most i0
    for (std::int32_t r = 0; r < rowsTogether; ++r) {
      rowOfL[r] = rowDiagonal[i0 + r] - (i0 + r);
      sum[r] = x[i0 + r];
      joint = std::max(joint, first[i0 + r]);
    }
    joint = std::min(joint, i0);
    for (std::int32_t r = 0; r < rowsTogether; ++r) {
      for (std::int32_t k = first[i0 + r]; k < joint; ++k)
        sum[r] = sum[r] - rowOfL[r][k] * x[k];
    }
    for (std::int32_t k = joint; k < i0; ++k) {
      const double xk = x[k];
#pragma GCC unroll 8
      for (std::int32_t r = 0; r < rowsTogether; ++r)
        sum[r] = sum[r] - rowOfL[r][k] * xk;
    }
#pragma GCC unroll 8
    for (std::int32_t r = 0; r < rowsTogether; ++r) {
      for (std::int32_t k = std::max(first[i0 + r], i0); k < i0 + r; ++k) {
        sum[r] = sum[r] - rowOfL[r][k] * x[k];
      }
      x[i0 + r] = sum[r];
    }
  }
}

// Backward for one right-hand side: the updates x(k) −= l(i, k)·x(i) of one row touch
// different x(k), so they run in vectors, the last few alone.
template <typename Lanes>
[[gnu::always_inline]] inline void BackwardOne(std::int32_t n, const double* const* rowDiagonal,
                                               const std::int32_t* first, double* x) {
  constexpr std::int32_t laneWidth = LaneCount<Lanes>();
  for (std::int32_t i = n - 1; i >= 1; --i) {
    const double* rowOfL = rowDiagonal[i] - i;
    const double xi = x[i];
    std::int32_t k = first[i];
    for (; k + laneWidth <= i; k += laneWidth) {
      StoreLanes(x + k, MinusProduct(LoadLanes<Lanes>(x + k), xi, LoadLanes<Lanes>(rowOfL + k)));
    }
    for (; k < i; ++k)
      x[k] = x[k] - rowOfL[k] * xi;
  }
}

template <typename Lanes>
[[gnu::always_inline]] inline void SolveOne(std::int32_t n, const double* const* rowDiagonal,
                                            const std::int32_t* first, double* x) {
  ForwardOne<8>(n, rowDiagonal, first, x);
  for (std::int32_t i = 0; i < n; ++i)
    x[i] = x[i] / rowDiagonal[i][0];
  BackwardOne<Lanes>(n, rowDiagonal, first, x);
}

}  // namespace compact_ldlt_interleaved
