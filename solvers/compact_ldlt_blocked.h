#pragma once
// The blocked factorisation of the compact routines, written once for every vector width and
// compiled per path in compact_ldlt_paths.cpp. Internal to solvers/; notation as in
// compact_ldlt_kernels.h.
//
// The plain loop factorises row by row: for row i and each column j from f(i) to i − 1,
//   g_i(j) = a(i, j) − Σ_k l(j, k)·g_i(k), k from max(f(i), f(j)) to j − 1 ascending,
//   l(i, j) = g_i(j) / d(j),
// then d(i) = a(i, i) − Σ_k l(i, k)·g_i(k), k from f(i) to i − 1 ascending, and d(i) := |d(i)|.
// Each row's sums depend on its own earlier g values only, so the rows of a block are
// independent as far as columns left of the block go. A block of Shape::rows rows keeps one
// lane per row, with the rows' g vectors interleaved; a group of Shape::columns columns runs
// its sums together, sharing each loaded g(k), and each row's lanes share l(j, k). Every sum
// keeps its own start and end: a lane starts late (a masked step) rather than adding a term it
// does not have, since even 0·x can turn −0.0 into +0.0 or bring in a NaN. Columns inside the
// block (j ≥ top) need the block's own rows of L, which are complete up to column j − 1 when
// column j is finished, and d(j), which is completed just before.
//
// Everything here is always inlined into the per-path entry points, so that each is compiled
// with its own instruction set and the loops over lanes, vectors and columns unroll.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "solvers/compact_ldlt_kernels.h"
#include "solvers/compact_ldlt_lanes.h"

namespace compact_ldlt_blocked {

using namespace compact_ldlt_lanes;

// A block of rowVectorCount vectors of rows by columnCount columns, vectors of type LanesType.
template <typename LanesType, std::int32_t rowVectorCount, std::int32_t columnCount>
struct BlockShape {
  using Lanes = LanesType;
  static constexpr std::int32_t laneWidth = LaneCount<Lanes>();
  static constexpr std::int32_t rowVectors = rowVectorCount;
  static constexpr std::int32_t rows = laneWidth * rowVectorCount;
  static constexpr std::int32_t columns = columnCount;
  static_assert(rows <= factorizeBlockRows, "g is sized for factorizeBlockRows rows");
};

// A start that no column index reaches: the lane takes no part.
constexpr double never = std::numeric_limits<double>::infinity();
constexpr std::int32_t noColumn = std::numeric_limits<std::int32_t>::max();

// One block of rows: lane r holds row top + r.
template <typename Shape>
struct RowBlock {
  using Lanes = typename Shape::Lanes;
  std::int32_t top;
  std::int32_t end;                     // one past the last row
  std::int32_t laneFirst[Shape::rows];  // f of the lane's row; noColumn if absent
  Lanes firstLanes[Shape::rowVectors];  // the same as doubles, never if absent
  Lanes rowLanes[Shape::rowVectors];    // the lanes' row numbers
  Lanes pivot[Shape::rowVectors];       // running sums of d(i)
  std::int32_t nextPivot;               // first row whose pivot is not finished
  std::int32_t minFirst;                // smallest f of the block's rows
  std::int32_t maxFirst;                // largest f of the block's rows
  bool full;                            // every lane holds a row
};

// Every lane has an element of L in each of the columns from j to j + count − 1: the block is
// full, the columns lie left of it and at or right of every lane's first column. The common case,
// which needs no test per lane.
template <typename Shape>
[[gnu::always_inline]] inline bool AllLanesTake(const RowBlock<Shape>& block, std::int32_t j,
                                                std::int32_t count) {
  return block.full && j >= block.maxFirst && j + count <= block.top;
}

// The sums of one group of columns j0 … j0 + count − 1 for every lane of a block.
template <typename Shape>
struct ColumnGroup {
  using Lanes = typename Shape::Lanes;
  std::int32_t j0;
  std::int32_t count;                              // ≤ Shape::columns
  Lanes sum[Shape::columns][Shape::rowVectors];    // running g_i(j)
  Lanes start[Shape::columns][Shape::rowVectors];  // k at which the lane's sum starts
  const double* rowOfL[Shape::columns];            // rowOfL[c][k] = l(j0 + c, k)
  std::int32_t rampBegin[Shape::columns];          // first k where some lane has started
  std::int32_t rampEnd[Shape::columns];            // first k where every lane has started
  std::int32_t jointBegin;                         // from here to j0 all columns take terms
  // A ramp that every column shares, with the lanes' own first columns as their starts:
  // sharedRampBegin ≤ k < sharedRampEnd, before each column's own ramp (empty by default).
  std::int32_t sharedRampBegin;
  std::int32_t sharedRampEnd;
};

// Row top + r has an element of L in column j: f(i) ≤ j < i.
template <typename Shape>
[[gnu::always_inline]] inline bool LaneTakesColumn(const RowBlock<Shape>& block, std::int32_t r,
                                                   std::int32_t j) {
  return block.laneFirst[r] <= j && j < block.top + r;
}

template <typename Shape>
[[gnu::always_inline]] inline const double* GRow(const double* g, std::int32_t k) {
  return g + static_cast<std::size_t>(k) * Shape::rows;
}

// d(p) := |running sum|, stored, and the extremes; rows are finished in ascending order.
template <typename Shape>
[[gnu::always_inline]] inline void FinishPivotsUpTo(RowBlock<Shape>& block, std::int32_t last,
                                                    double* const* rowDiagonal,
                                                    PivotExtremes& extremes) {
  for (; block.nextPivot <= last; ++block.nextPivot) {
    std::int32_t p = block.nextPivot;
    std::int32_t r = p - block.top;
    double pivot = std::fabs(block.pivot[r / Shape::laneWidth][r % Shape::laneWidth]);
    rowDiagonal[p][0] = pivot;
    extremes.Record(pivot, p);
  }
}

// One term of a column's sums: g_i(j) −= l(j, k)·g_i(k), only in the lanes whose sum has started
// (start ≤ k); the others keep their value untouched.
template <typename Shape>
[[gnu::always_inline]] inline void MaskedTerm(typename Shape::Lanes* sum,
                                              const typename Shape::Lanes* start, double ljk,
                                              const double* gk, std::int32_t k) {
  double column = static_cast<double>(k);
#pragma GCC unroll 4
  for (std::int32_t v = 0; v < Shape::rowVectors; ++v) {
    auto started = start[v] <= column;
    auto gLanes = LoadLanes<typename Shape::Lanes>(gk + v * Shape::laneWidth);
    sum[v] = started ? MinusProduct(sum[v], ljk, gLanes) : sum[v];
  }
}

// The same term in every lane.
template <typename Shape>
[[gnu::always_inline]] inline void Term(typename Shape::Lanes* sum, double ljk, const double* gk) {
#pragma GCC unroll 4
  for (std::int32_t v = 0; v < Shape::rowVectors; ++v) {
    sum[v] = MinusProduct(sum[v], ljk, LoadLanes<typename Shape::Lanes>(gk + v * Shape::laneWidth));
  }
}

// Phase 1 where every lane takes every column of the group: each sum starts at a(i, j) and at
// k = max(f(i), f(j)), so the lanes of column j start between max(smallest f, f(j)) and
// max(largest f, f(j)), both capped at j0 as below.
template <typename Shape>
[[gnu::always_inline]] inline void StartFullColumnGroup(ColumnGroup<Shape>& group,
                                                        const RowBlock<Shape>& block,
                                                        double* const* rowDiagonal,
                                                        const std::int32_t* first) {
  using Lanes = typename Shape::Lanes;
  std::int32_t j0 = group.j0;
  group.jointBegin = std::numeric_limits<std::int32_t>::min();
  std::int32_t latestColumnFirst = 0;
#pragma GCC unroll 8
  for (std::int32_t c = 0; c < Shape::columns; ++c) {
    std::int32_t j = j0 + c;
    std::int32_t firstOfColumn = first[j];
    double laneSum[Shape::rows];
    for (std::int32_t r = 0; r < Shape::rows; ++r) {
      std::int32_t i = block.top + r;
      laneSum[r] = rowDiagonal[i][j - i];
    }
    Lanes columnStart = Lanes{} + static_cast<double>(firstOfColumn);
#pragma GCC unroll 4
    for (std::int32_t v = 0; v < Shape::rowVectors; ++v) {
      group.sum[c][v] = LoadLanes<Lanes>(laneSum + v * Shape::laneWidth);
      group.start[c][v] = block.firstLanes[v] > columnStart ? block.firstLanes[v] : columnStart;
    }
    std::int32_t lowest = std::max(block.minFirst, firstOfColumn);
    group.rowOfL[c] = rowDiagonal[j] - j;
    group.rampBegin[c] = std::min(lowest, j0);
    group.rampEnd[c] = std::min(std::max(block.maxFirst, firstOfColumn), j0);
    group.jointBegin = std::max(group.jointBegin, group.rampEnd[c]);
    latestColumnFirst = std::max(latestColumnFirst, firstOfColumn);
  }
  // When no column starts after the block's first row does, every lane's start is its row's
  // own first column in every column: one ramp serves them all, sharing each loaded g(k) and
  // each lane's mask.
  if (latestColumnFirst <= block.minFirst) {
    group.sharedRampBegin = std::min(block.minFirst, j0);
    group.sharedRampEnd = std::min(block.maxFirst, j0);
    for (std::int32_t c = 0; c < Shape::columns; ++c) {
      group.rampBegin[c] = group.sharedRampEnd;
      group.rampEnd[c] = group.sharedRampEnd;
    }
  }
}

// Phase 1: each sum starts at a(i, j) and at k = max(f(i), f(j)); the lanes of a column start
// between rampBegin and rampEnd (both capped at j0; the terms from j0 on come in the triangle).
template <typename Shape>
[[gnu::always_inline]] inline void StartColumnGroup(ColumnGroup<Shape>& group,
                                                    const RowBlock<Shape>& block,
                                                    double* const* rowDiagonal,
                                                    const std::int32_t* first) {
  using Lanes = typename Shape::Lanes;
  std::int32_t j0 = group.j0;
  if (AllLanesTake(block, j0, Shape::columns) && group.count == Shape::columns) {
    StartFullColumnGroup(group, block, rowDiagonal, first);
    return;
  }
  group.jointBegin = std::numeric_limits<std::int32_t>::min();
#pragma GCC unroll 8
  for (std::int32_t c = 0; c < Shape::columns; ++c) {
    std::int32_t j = j0 + c;
    double laneSum[Shape::rows];
    double laneStart[Shape::rows];
    std::int32_t lowest = noColumn;
    std::int32_t highest = -1;
    for (std::int32_t r = 0; r < Shape::rows; ++r) {
      laneSum[r] = 0.0;
      laneStart[r] = never;
      if (c < group.count && LaneTakesColumn(block, r, j)) {
        std::int32_t i = block.top + r;
        std::int32_t k = std::max(block.laneFirst[r], first[j]);
        laneSum[r] = rowDiagonal[i][j - i];
        laneStart[r] = static_cast<double>(k);
        lowest = std::min(lowest, k);
        highest = std::max(highest, k);
      }
    }
#pragma GCC unroll 4
    for (std::int32_t v = 0; v < Shape::rowVectors; ++v) {
      group.sum[c][v] = LoadLanes<Lanes>(laneSum + v * Shape::laneWidth);
      group.start[c][v] = LoadLanes<Lanes>(laneStart + v * Shape::laneWidth);
    }
    // Columns past count (and columns no lane takes) run along on harmless values that are
    // never stored; their loads stay inside the values of the rows above.
    group.rowOfL[c] = c < group.count ? rowDiagonal[j] - j : group.rowOfL[0];
    if (lowest > highest) {
      group.rampBegin[c] = j0;
      group.rampEnd[c] = j0;
    } else {
      group.rampBegin[c] = std::min(lowest, j0);
      group.rampEnd[c] = std::min(highest, j0);
      group.jointBegin = std::max(group.jointBegin, group.rampEnd[c]);
    }
  }
  if (group.jointBegin == std::numeric_limits<std::int32_t>::min()) {
    group.jointBegin = j0;
  }
}

// Phase 2, per column: g_i(j) −= l(j, k)·g_i(k) for the k where only some lanes have started
// (masked), then for the k where all have, up to where every column runs.
template <typename Shape>
[[gnu::always_inline]] inline void AddLeadingTerms(ColumnGroup<Shape>& group,
                                                   const RowBlock<Shape>& block, const double* g) {
  using Lanes = typename Shape::Lanes;
  for (std::int32_t k = group.sharedRampBegin; k < group.sharedRampEnd; ++k) {
    const double* gk = GRow<Shape>(g, k);
    double column = static_cast<double>(k);
    Lanes gLanes[Shape::rowVectors];
    decltype(block.firstLanes[0] <= column) started[Shape::rowVectors];
#pragma GCC unroll 4
    for (std::int32_t v = 0; v < Shape::rowVectors; ++v) {
      gLanes[v] = LoadLanes<Lanes>(gk + v * Shape::laneWidth);
      started[v] = block.firstLanes[v] <= column;
    }
#pragma GCC unroll 8
    for (std::int32_t c = 0; c < Shape::columns; ++c) {
      double factor = group.rowOfL[c][k];
#pragma GCC unroll 4
      for (std::int32_t v = 0; v < Shape::rowVectors; ++v) {
        group.sum[c][v] =
            started[v] ? MinusProduct(group.sum[c][v], factor, gLanes[v]) : group.sum[c][v];
      }
    }
  }
#pragma GCC unroll 8
  for (std::int32_t c = 0; c < Shape::columns; ++c) {
    for (std::int32_t k = group.rampBegin[c]; k < group.rampEnd[c]; ++k) {
      MaskedTerm<Shape>(group.sum[c], group.start[c], group.rowOfL[c][k], GRow<Shape>(g, k), k);
    }
    for (std::int32_t k = group.rampEnd[c]; k < group.jointBegin; ++k) {
      Term<Shape>(group.sum[c], group.rowOfL[c][k], GRow<Shape>(g, k));
    }
  }
}

// Phase 3, all columns together: g_i(j0 + c) −= l(j0 + c, k)·g_i(k), k from jointBegin to
// j0 − 1; the block's rows of g(k) are loaded once for all columns. This is the main loop.
template <typename Shape>
[[gnu::always_inline]] inline void AddJointTerms(ColumnGroup<Shape>& group, const double* g) {
  using Lanes = typename Shape::Lanes;
  for (std::int32_t k = group.jointBegin; k < group.j0; ++k) {
    const double* gk = GRow<Shape>(g, k);
    Lanes gLanes[Shape::rowVectors];
#pragma GCC unroll 4
    for (std::int32_t v = 0; v < Shape::rowVectors; ++v) {
      gLanes[v] = LoadLanes<Lanes>(gk + v * Shape::laneWidth);
    }
#pragma GCC unroll 8
    for (std::int32_t c = 0; c < Shape::columns; ++c) {
      double factor = group.rowOfL[c][k];
#pragma GCC unroll 4
      for (std::int32_t v = 0; v < Shape::rowVectors; ++v) {
        group.sum[c][v] = MinusProduct(group.sum[c][v], factor, gLanes[v]);
      }
    }
  }
}

// Column j of the block's rows of L from its finished sums g_i(j): g(j) is kept, l(i, j) =
// g_i(j) / d(j) stored in the rows that have the column, and the pivot sums take their term
// l(i, j)·g_i(j). A column inside the block first needs d(j), so the pivots up to row j are
// finished here.
template <typename Shape>
[[gnu::always_inline]] inline void FinishColumn(RowBlock<Shape>& block, std::int32_t j,
                                                const typename Shape::Lanes* sum,
                                                double* const* rowDiagonal, double* g,
                                                PivotExtremes& extremes) {
  using Lanes = typename Shape::Lanes;
  FinishPivotsUpTo(block, j, rowDiagonal, extremes);
  double column = static_cast<double>(j);
  double dj = rowDiagonal[j][0];
  bool allTake = AllLanesTake(block, j, 1);
#pragma GCC unroll 4
  for (std::int32_t v = 0; v < Shape::rowVectors; ++v) {
    StoreLanes(g + static_cast<std::size_t>(j) * Shape::rows + v * Shape::laneWidth, sum[v]);
    Lanes l = sum[v] / dj;
    auto takes = (block.firstLanes[v] <= column) & (column < block.rowLanes[v]);
    block.pivot[v] = takes ? MinusProduct(block.pivot[v], l, sum[v]) : block.pivot[v];
    for (std::int32_t lane = 0; lane < Shape::laneWidth; ++lane) {
      std::int32_t r = v * Shape::laneWidth + lane;
      if (allTake || LaneTakesColumn(block, r, j)) {
        std::int32_t i = block.top + r;
        rowDiagonal[i][j - i] = l[lane];
      }
    }
  }
}

// Phase 4, the triangle of the group, column by column: g_i(j0 + c) −= l(j0 + c, k)·g_i(k) for
// k from j0 to j0 + c − 1 (those g(k) were finished just before), then column j0 + c is
// finished.
template <typename Shape>
[[gnu::always_inline]] inline void FinishColumnGroup(ColumnGroup<Shape>& group,
                                                     RowBlock<Shape>& block,
                                                     double* const* rowDiagonal, double* g,
                                                     PivotExtremes& extremes) {
  std::int32_t j0 = group.j0;
#pragma GCC unroll 8
  for (std::int32_t c = 0; c < Shape::columns; ++c) {
    if (c < group.count) {
      for (std::int32_t k = j0; k < j0 + c; ++k) {
        MaskedTerm<Shape>(group.sum[c], group.start[c], group.rowOfL[c][k], GRow<Shape>(g, k), k);
      }
      FinishColumn(block, j0 + c, group.sum[c], rowDiagonal, g, extremes);
    }
  }
}

// Columns j0 to j0 + count − 1 of the block's rows of L (count ≤ Shape::columns).
template <typename Shape>
[[gnu::always_inline]] inline void FactorizeColumnGroup(RowBlock<Shape>& block, std::int32_t j0,
                                                        std::int32_t count,
                                                        double* const* rowDiagonal,
                                                        const std::int32_t* first, double* g,
                                                        PivotExtremes& extremes) {
  ColumnGroup<Shape> group;
  group.j0 = j0;
  group.count = count;
  group.sharedRampBegin = 0;
  group.sharedRampEnd = 0;
  StartColumnGroup(group, block, rowDiagonal, first);
  AddLeadingTerms(group, block, g);
  AddJointTerms(group, g);
  FinishColumnGroup(group, block, rowDiagonal, g, extremes);
}

// The block of rows top to end − 1 (at most Shape::rows of them) with their pivot sums started.
template <typename Shape>
[[gnu::always_inline]] inline void StartRowBlock(RowBlock<Shape>& block, std::int32_t top,
                                                 std::int32_t end, double* const* rowDiagonal,
                                                 const std::int32_t* first) {
  using Lanes = typename Shape::Lanes;
  block.top = top;
  block.end = end;
  block.nextPivot = top;
  block.full = end - top == Shape::rows;
  block.minFirst = *std::min_element(first + top, first + end);
  block.maxFirst = *std::max_element(first + top, first + end);
  double laneFirst[Shape::rows];
  double laneRow[Shape::rows];
  double lanePivot[Shape::rows];
  for (std::int32_t r = 0; r < Shape::rows; ++r) {
    std::int32_t i = top + r;
    bool present = i < end;
    block.laneFirst[r] = present ? first[i] : noColumn;
    laneFirst[r] = present ? static_cast<double>(first[i]) : never;
    lanePivot[r] = present ? rowDiagonal[i][0] : 0.0;
    laneRow[r] = static_cast<double>(i);
  }
  for (std::int32_t v = 0; v < Shape::rowVectors; ++v) {
    block.firstLanes[v] = LoadLanes<Lanes>(laneFirst + v * Shape::laneWidth);
    block.rowLanes[v] = LoadLanes<Lanes>(laneRow + v * Shape::laneWidth);
    block.pivot[v] = LoadLanes<Lanes>(lanePivot + v * Shape::laneWidth);
  }
}

// Asks for the slots of rows top to end − 1 to be brought into the cache. A block reads its
// rows column by column, Shape::rows rows at a time, each slot for the first time; fetched
// while the block before is still computing, they are at hand instead of each column's loads
// waiting for memory. A hint only: nothing is read or written here.
[[gnu::always_inline]] inline void FetchRows(double* const* rowDiagonal, const std::int32_t* first,
                                             std::int32_t top, std::int32_t end) {
  constexpr std::int32_t slotsPerLine = 64 / sizeof(double);
  for (std::int32_t i = top; i < end; ++i) {
    const double* rowOfA = rowDiagonal[i] - i;  // rowOfA[j] = a(i, j)
    for (std::int32_t j = first[i]; j <= i; j += slotsPerLine) {
      __builtin_prefetch(rowOfA + j, 1, 3);
    }
    __builtin_prefetch(rowDiagonal[i], 1, 3);
  }
}

// Rows 1 to n − 1, block after block; g holds n·Shape::rows doubles.
template <typename Shape>
[[gnu::always_inline]] inline void FactorizeBlocks(std::int32_t n, double* const* rowDiagonal,
                                                   const std::int32_t* first, double* g,
                                                   PivotExtremes& extremes) {
  for (std::int32_t top = 1; top < n; top += Shape::rows) {
    std::int32_t end = std::min(top + Shape::rows, n);
    FetchRows(rowDiagonal, first, end, std::min(end + Shape::rows, n));
    RowBlock<Shape> block;
    StartRowBlock(block, top, end, rowDiagonal, first);
    // Columns f to end − 2: the last row's elements of L end there.
    for (std::int32_t j0 = block.minFirst; j0 < end - 1; j0 += Shape::columns) {
      std::int32_t count = std::min(Shape::columns, end - 1 - j0);
      FactorizeColumnGroup(block, j0, count, rowDiagonal, first, g, extremes);
    }
    FinishPivotsUpTo(block, end - 1, rowDiagonal, extremes);
  }
}

}  // namespace compact_ldlt_blocked
