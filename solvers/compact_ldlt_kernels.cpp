#include "solvers/compact_ldlt_kernels.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <limits>

namespace {

// Four doubles handled as one. Each lane's −, × and / is the IEEE operation of its scalar; on
// the AVX2 path the four sit in one 256-bit register, on the portable path the compiler splits
// them as its target allows. Product and difference stay two operations: the build never
// contracts them, and the AVX2 path is compiled without FMA.
typedef double Lanes __attribute__((vector_size(32)));
constexpr std::int32_t laneWidth = 4;

// A start that no column index reaches: the lane takes no part.
constexpr double never = std::numeric_limits<double>::infinity();
constexpr std::int32_t noColumn = std::numeric_limits<std::int32_t>::max();

[[gnu::always_inline]] inline Lanes LoadLanes(const double* source) {
  Lanes value;
  std::memcpy(&value, source, sizeof value);
  return value;
}

[[gnu::always_inline]] inline void StoreLanes(double* target, Lanes value) {
  std::memcpy(target, &value, sizeof value);
}

// sum − a·b in every lane: one multiplication, then one subtraction.
[[gnu::always_inline]] inline Lanes MinusProduct(Lanes sum, Lanes a, Lanes b) {
  Lanes product = a * b;
  return sum - product;
}

// The same with one a for all lanes. (The scalar stays a scalar operand here, so that the
// compiler broadcasts it with the instructions of the path being compiled.)
[[gnu::always_inline]] inline Lanes MinusProduct(Lanes sum, double a, Lanes b) {
  Lanes product = a * b;
  return sum - product;
}

// ---------------------------------------------------------------------------------------------
// Factorisation.
//
// The plain loop factorises row by row: for row i and each column j from f(i) to i − 1,
//   g_i(j) = a(i, j) − Σ_k l(j, k)·g_i(k), k from max(f(i), f(j)) to j − 1 ascending,
//   l(i, j) = g_i(j) / d(j),
// then d(i) = a(i, i) − Σ_k l(i, k)·g_i(k), k from f(i) to i − 1 ascending, and d(i) := |d(i)|.
// Each row's sums depend on its own earlier g values only, so the rows of a block are
// independent as far as columns left of the block go. A block of factorizeBlockRows rows
// keeps one lane per row, with the rows' g vectors interleaved; a group of blockColumns
// columns runs its sums together, sharing each loaded g(k) and each row's lanes sharing
// l(j, k). Every sum keeps its own start and end: a lane starts late (a masked step) rather
// than adding a term it does not have, since even 0·x can turn −0.0 into +0.0 or bring in a NaN.
// Columns inside the block (j ≥ top) need the block's own rows of L, which are complete up to
// column j − 1 when column j is finished, and d(j), which is completed just before.

constexpr std::int32_t rowVectors = factorizeBlockRows / laneWidth;
constexpr std::int32_t blockColumns = 4;
static_assert(factorizeBlockRows % laneWidth == 0, "rows of a block fill whole vectors");

// One block of rows: lane r holds row top + r.
struct RowBlock {
  std::int32_t top;
  std::int32_t end;                            // one past the last row
  std::int32_t laneFirst[factorizeBlockRows];  // f of the lane's row; noColumn if absent
  Lanes firstLanes[rowVectors];                // the same as doubles, never if absent
  Lanes rowLanes[rowVectors];                  // the lanes' row numbers
  Lanes pivot[rowVectors];                     // running sums of d(i)
};

// Row top + r has an element of L in column j: f(i) ≤ j < i.
[[gnu::always_inline]] inline bool LaneTakesColumn(const RowBlock& block, std::int32_t r,
                                                   std::int32_t j) {
  return block.laneFirst[r] <= j && j < block.top + r;
}

// d(p) := |running sum|, stored, and the extremes; rows are finished in ascending order.
[[gnu::always_inline]] inline void FinishPivot(RowBlock& block, std::int32_t p,
                                               double* const* rowDiagonal,
                                               PivotExtremes& extremes) {
  std::int32_t r = p - block.top;
  double pivot = std::fabs(block.pivot[r / laneWidth][r % laneWidth]);
  rowDiagonal[p][0] = pivot;
  extremes.Record(pivot, p);
}

// One term of the block's sums for column j: g_i(j) −= l(j, k)·g_i(k), only in the lanes whose
// sum has started (start ≤ k); the others keep their value untouched.
[[gnu::always_inline]] inline void MaskedTerm(Lanes* sum, const Lanes* start, double ljk,
                                              const double* gk, std::int32_t k) {
  double column = static_cast<double>(k);
#pragma GCC unroll 4
  for (std::int32_t v = 0; v < rowVectors; ++v) {
    auto started = start[v] <= column;
    sum[v] = started ? MinusProduct(sum[v], ljk, LoadLanes(gk + v * laneWidth)) : sum[v];
  }
}

// The same term in every lane.
[[gnu::always_inline]] inline void Term(Lanes* sum, double ljk, const double* gk) {
#pragma GCC unroll 4
  for (std::int32_t v = 0; v < rowVectors; ++v) {
    sum[v] = MinusProduct(sum[v], ljk, LoadLanes(gk + v * laneWidth));
  }
}

// Column j of the block's rows of L from its finished sums g_i(j): g(j) is kept, l(i, j) =
// g_i(j) / d(j) stored in the rows that have the column, and the pivot sums take their term
// l(i, j)·g_i(j). A column inside the block first needs d(j), so the pivots up to row j are
// finished here.
[[gnu::always_inline]] inline void FinishColumn(RowBlock& block, std::int32_t j, const Lanes* sum,
                                                double* const* rowDiagonal, double* g,
                                                PivotExtremes& extremes, std::int32_t& nextPivot) {
  while (nextPivot <= j) {
    FinishPivot(block, nextPivot, rowDiagonal, extremes);
    ++nextPivot;
  }
  double column = static_cast<double>(j);
  double dj = rowDiagonal[j][0];
#pragma GCC unroll 4
  for (std::int32_t v = 0; v < rowVectors; ++v) {
    StoreLanes(g + static_cast<std::size_t>(j) * factorizeBlockRows + v * laneWidth, sum[v]);
    Lanes l = sum[v] / dj;
    auto takes = (block.firstLanes[v] <= column) & (column < block.rowLanes[v]);
    block.pivot[v] = takes ? MinusProduct(block.pivot[v], l, sum[v]) : block.pivot[v];
    for (std::int32_t lane = 0; lane < laneWidth; ++lane) {
      std::int32_t r = v * laneWidth + lane;
      if (LaneTakesColumn(block, r, j)) {
        std::int32_t i = block.top + r;
        rowDiagonal[i][j - i] = l[lane];
      }
    }
  }
}

// Columns j0 to j0 + count − 1 of the block's rows of L (count ≤ blockColumns).
[[gnu::always_inline]] inline void FactorizeColumnGroup(
    RowBlock& block, std::int32_t j0, std::int32_t count, double* const* rowDiagonal,
    const std::int32_t* first, double* g, PivotExtremes& extremes, std::int32_t& nextPivot) {
  Lanes sum[blockColumns][rowVectors];
  Lanes start[blockColumns][rowVectors];
  const double* rowOfL[blockColumns];  // rowOfL[c][k] = l(j0 + c, k)
  std::int32_t rampBegin[blockColumns];
  std::int32_t rampEnd[blockColumns];
  // From here to j0 every started lane of every column takes each term.
  std::int32_t jointBegin = std::numeric_limits<std::int32_t>::min();

  // Each sum starts at a(i, j) and at k = max(f(i), f(j)); the lanes of a column start between
  // rampBegin and rampEnd (both capped at j0; the terms from j0 on come in the tails).
#pragma GCC unroll 8
  for (std::int32_t c = 0; c < blockColumns; ++c) {
    std::int32_t j = j0 + c;
    double laneSum[factorizeBlockRows];
    double laneStart[factorizeBlockRows];
    std::int32_t lowest = noColumn;
    std::int32_t highest = -1;
    for (std::int32_t r = 0; r < factorizeBlockRows; ++r) {
      laneSum[r] = 0.0;
      laneStart[r] = never;
      if (c < count && LaneTakesColumn(block, r, j)) {
        std::int32_t i = block.top + r;
        std::int32_t k = std::max(block.laneFirst[r], first[j]);
        laneSum[r] = rowDiagonal[i][j - i];
        laneStart[r] = static_cast<double>(k);
        lowest = std::min(lowest, k);
        highest = std::max(highest, k);
      }
    }
#pragma GCC unroll 4
    for (std::int32_t v = 0; v < rowVectors; ++v) {
      sum[c][v] = LoadLanes(laneSum + v * laneWidth);
      start[c][v] = LoadLanes(laneStart + v * laneWidth);
    }
    // Columns past count (and columns no lane takes) run along on harmless values that are
    // never stored; their loads stay inside the values of the rows above.
    rowOfL[c] = c < count ? rowDiagonal[j] - j : rowOfL[0];
    if (lowest > highest) {
      rampBegin[c] = j0;
      rampEnd[c] = j0;
    } else {
      rampBegin[c] = std::min(lowest, j0);
      rampEnd[c] = std::min(highest, j0);
      jointBegin = std::max(jointBegin, rampEnd[c]);
    }
  }
  if (jointBegin == std::numeric_limits<std::int32_t>::min()) {
    jointBegin = j0;
  }

  // Per column: g_i(j) −= l(j, k)·g_i(k) for the k where only some lanes have started
  // (masked), then for the k where all have, up to where every column runs.
#pragma GCC unroll 8
  for (std::int32_t c = 0; c < blockColumns; ++c) {
    for (std::int32_t k = rampBegin[c]; k < rampEnd[c]; ++k) {
      MaskedTerm(sum[c], start[c], rowOfL[c][k],
                 g + static_cast<std::size_t>(k) * factorizeBlockRows, k);
    }
    for (std::int32_t k = rampEnd[c]; k < jointBegin; ++k) {
      Term(sum[c], rowOfL[c][k], g + static_cast<std::size_t>(k) * factorizeBlockRows);
    }
  }

  // All columns together: g_i(j0 + c) −= l(j0 + c, k)·g_i(k), k from jointBegin to j0 − 1; the
  // block's rows of g(k) are loaded once for all columns.
  for (std::int32_t k = jointBegin; k < j0; ++k) {
    const double* gk = g + static_cast<std::size_t>(k) * factorizeBlockRows;
    Lanes gLanes[rowVectors];
#pragma GCC unroll 4
    for (std::int32_t v = 0; v < rowVectors; ++v) {
      gLanes[v] = LoadLanes(gk + v * laneWidth);
    }
#pragma GCC unroll 8
    for (std::int32_t c = 0; c < blockColumns; ++c) {
      double factor = rowOfL[c][k];
#pragma GCC unroll 4
      for (std::int32_t v = 0; v < rowVectors; ++v) {
        sum[c][v] = MinusProduct(sum[c][v], factor, gLanes[v]);
      }
    }
  }

  // The triangle of the group, column by column: g_i(j0 + c) −= l(j0 + c, k)·g_i(k) for k from
  // j0 to j0 + c − 1 (those g(k) were finished just before), then column j0 + c is finished.
#pragma GCC unroll 8
  for (std::int32_t c = 0; c < blockColumns; ++c) {
    if (c < count) {
      for (std::int32_t k = j0; k < j0 + c; ++k) {
        MaskedTerm(sum[c], start[c], rowOfL[c][k],
                   g + static_cast<std::size_t>(k) * factorizeBlockRows, k);
      }
      FinishColumn(block, j0 + c, sum[c], rowDiagonal, g, extremes, nextPivot);
    }
  }
}

// Rows top to end − 1 (at most factorizeBlockRows of them).
[[gnu::always_inline]] inline void FactorizeRowBlock(std::int32_t top, std::int32_t end,
                                                     double* const* rowDiagonal,
                                                     const std::int32_t* first, double* g,
                                                     PivotExtremes& extremes) {
  RowBlock block;
  block.top = top;
  block.end = end;
  double laneFirst[factorizeBlockRows];
  double laneRow[factorizeBlockRows];
  double lanePivot[factorizeBlockRows];
  std::int32_t firstColumn = end;
  for (std::int32_t r = 0; r < factorizeBlockRows; ++r) {
    std::int32_t i = top + r;
    if (i < end) {
      block.laneFirst[r] = first[i];
      laneFirst[r] = static_cast<double>(first[i]);
      lanePivot[r] = rowDiagonal[i][0];
      firstColumn = std::min(firstColumn, first[i]);
    } else {
      block.laneFirst[r] = noColumn;
      laneFirst[r] = never;
      lanePivot[r] = 0.0;
    }
    laneRow[r] = static_cast<double>(i);
  }
  for (std::int32_t v = 0; v < rowVectors; ++v) {
    block.firstLanes[v] = LoadLanes(laneFirst + v * laneWidth);
    block.rowLanes[v] = LoadLanes(laneRow + v * laneWidth);
    block.pivot[v] = LoadLanes(lanePivot + v * laneWidth);
  }

  // Columns f to end − 2: the last row's elements of L end there.
  std::int32_t nextPivot = top;
  for (std::int32_t j0 = firstColumn; j0 < end - 1; j0 += blockColumns) {
    std::int32_t count = std::min(blockColumns, end - 1 - j0);
    FactorizeColumnGroup(block, j0, count, rowDiagonal, first, g, extremes, nextPivot);
  }
  while (nextPivot < end) {
    FinishPivot(block, nextPivot, rowDiagonal, extremes);
    ++nextPivot;
  }
}

[[gnu::always_inline]] inline void FactorizeAllBlocks(std::int32_t n, double* const* rowDiagonal,
                                                      const std::int32_t* first, double* g,
                                                      PivotExtremes& extremes) {
  for (std::int32_t top = 1; top < n; top += factorizeBlockRows) {
    std::int32_t end = std::min(top + factorizeBlockRows, n);
    FactorizeRowBlock(top, end, rowDiagonal, first, g, extremes);
  }
}

[[gnu::target("avx2")]] void FactorizeAvx2(std::int32_t n, double* const* rowDiagonal,
                                           const std::int32_t* first, double* g,
                                           PivotExtremes& extremes) {
  FactorizeAllBlocks(n, rowDiagonal, first, g, extremes);
}

void FactorizePortable(std::int32_t n, double* const* rowDiagonal, const std::int32_t* first,
                       double* g, PivotExtremes& extremes) {
  FactorizeAllBlocks(n, rowDiagonal, first, g, extremes);
}

// ---------------------------------------------------------------------------------------------
// Solve with interleaved right-hand sides: row k of x holds element k of every right-hand side
// side by side, x[k·width + t]. Each lane runs exactly the plain solve of its right-hand side.

// x(i) −= Σ_k l(i, k)·x(k), k from max(f(i), skipBelow) to i − 1 ascending, rows from
// max(1, skipBelow) on; one sum per lane, vectors of them side by side.
[[gnu::always_inline]] inline void ForwardInterleaved(std::int32_t n,
                                                      const double* const* rowDiagonal,
                                                      const std::int32_t* first, double* x,
                                                      std::int32_t vectors,
                                                      std::int32_t skipBelow) {
  std::int32_t width = vectors * laneWidth;
  for (std::int32_t i = std::max(1, skipBelow); i < n; ++i) {
    const double* rowOfL = rowDiagonal[i] - i;  // rowOfL[k] = l(i, k)
    double* xi = x + static_cast<std::size_t>(i) * width;
    Lanes sum[solveBlockWidth / laneWidth];
#pragma GCC unroll 4
    for (std::int32_t v = 0; v < vectors; ++v) {
      sum[v] = LoadLanes(xi + v * laneWidth);
    }
    for (std::int32_t k = std::max(first[i], skipBelow); k < i; ++k) {
      double factor = rowOfL[k];
      const double* xk = x + static_cast<std::size_t>(k) * width;
#pragma GCC unroll 4
      for (std::int32_t v = 0; v < vectors; ++v) {
        sum[v] = MinusProduct(sum[v], factor, LoadLanes(xk + v * laneWidth));
      }
    }
#pragma GCC unroll 4
    for (std::int32_t v = 0; v < vectors; ++v) {
      StoreLanes(xi + v * laneWidth, sum[v]);
    }
  }
}

// x(i) := x(i) / d(i) for every row.
[[gnu::always_inline]] inline void DiagonalInterleaved(std::int32_t n,
                                                       const double* const* rowDiagonal, double* x,
                                                       std::int32_t vectors) {
  std::int32_t width = vectors * laneWidth;
  for (std::int32_t i = 0; i < n; ++i) {
    double di = rowDiagonal[i][0];
    double* xi = x + static_cast<std::size_t>(i) * width;
#pragma GCC unroll 4
    for (std::int32_t v = 0; v < vectors; ++v) {
      StoreLanes(xi + v * laneWidth, LoadLanes(xi + v * laneWidth) / di);
    }
  }
}

// By columns of Lᵀ, row i from n − 1 down to 1: x(k) −= l(i, k)·x(i), k from f(i) to i − 1.
// The updates of one row touch different x(k), so they run side by side on their own.
[[gnu::always_inline]] inline void BackwardInterleaved(std::int32_t n,
                                                       const double* const* rowDiagonal,
                                                       const std::int32_t* first, double* x,
                                                       std::int32_t vectors) {
  std::int32_t width = vectors * laneWidth;
  for (std::int32_t i = n - 1; i >= 1; --i) {
    const double* rowOfL = rowDiagonal[i] - i;
    const double* xiSource = x + static_cast<std::size_t>(i) * width;
    Lanes xi[solveBlockWidth / laneWidth];
#pragma GCC unroll 4
    for (std::int32_t v = 0; v < vectors; ++v) {
      xi[v] = LoadLanes(xiSource + v * laneWidth);
    }
    for (std::int32_t k = first[i]; k < i; ++k) {
      double factor = rowOfL[k];
      double* xk = x + static_cast<std::size_t>(k) * width;
#pragma GCC unroll 4
      for (std::int32_t v = 0; v < vectors; ++v) {
        StoreLanes(xk + v * laneWidth, MinusProduct(LoadLanes(xk + v * laneWidth), factor, xi[v]));
      }
    }
  }
}

[[gnu::always_inline]] inline void SolveLanes(std::int32_t n, const double* const* rowDiagonal,
                                              const std::int32_t* first, double* x,
                                              std::int32_t vectors, std::int32_t skipBelow) {
  ForwardInterleaved(n, rowDiagonal, first, x, vectors, skipBelow);
  DiagonalInterleaved(n, rowDiagonal, x, vectors);
  BackwardInterleaved(n, rowDiagonal, first, x, vectors);
}

// The vector count as a constant in each branch, so that the loops over it unroll and the sums
// stay in registers.
[[gnu::always_inline]] inline void SolveWidth(std::int32_t n, const double* const* rowDiagonal,
                                              const std::int32_t* first, double* x,
                                              std::int32_t width, std::int32_t skipBelow) {
  switch (width / laneWidth) {
    case 1:
      SolveLanes(n, rowDiagonal, first, x, 1, skipBelow);
      break;
    case 2:
      SolveLanes(n, rowDiagonal, first, x, 2, skipBelow);
      break;
    case 3:
      SolveLanes(n, rowDiagonal, first, x, 3, skipBelow);
      break;
    default:
      SolveLanes(n, rowDiagonal, first, x, 4, skipBelow);
      break;
  }
}

[[gnu::target("avx2")]] void SolveAvx2(std::int32_t n, const double* const* rowDiagonal,
                                       const std::int32_t* first, double* x, std::int32_t width,
                                       std::int32_t skipBelow) {
  SolveWidth(n, rowDiagonal, first, x, width, skipBelow);
}

void SolvePortable(std::int32_t n, const double* const* rowDiagonal, const std::int32_t* first,
                   double* x, std::int32_t width, std::int32_t skipBelow) {
  SolveWidth(n, rowDiagonal, first, x, width, skipBelow);
}

}  // namespace

KernelPath FastestKernelPath() {
  return __builtin_cpu_supports("avx2") ? KernelPath::avx2 : KernelPath::portable;
}

void FactorizeRowBlocks(std::int32_t n, double* const* rowDiagonal, const std::int32_t* first,
                        double* g, PivotExtremes& extremes, KernelPath path) {
  if (path == KernelPath::avx2) {
    FactorizeAvx2(n, rowDiagonal, first, g, extremes);
  } else {
    FactorizePortable(n, rowDiagonal, first, g, extremes);
  }
}

void SolveInterleaved(std::int32_t n, const double* const* rowDiagonal, const std::int32_t* first,
                      double* x, std::int32_t width, std::int32_t skipBelow, KernelPath path) {
  if (path == KernelPath::avx2) {
    SolveAvx2(n, rowDiagonal, first, x, width, skipBelow);
  } else {
    SolvePortable(n, rowDiagonal, first, x, width, skipBelow);
  }
}
