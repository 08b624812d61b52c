#include "solvers/compact_ldlt.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstdlib>

#include "solvers/compact_ldlt_kernels.h"
#include "solvers/large_blocks.h"

// Notation inside this file: rowDiagonal[i] points at the diagonal slot of row i, so element
// (i, j) of the matrix (or of L) is rowDiagonal[i][j − i]; first[i] is f(i), the first stored
// column of row i; d(i) is rowDiagonal[i][0] once row i is factorised.
//
// This file holds the entry points only: the scratch arrays, the row pointers and first columns,
// the pivot test. Every pass behind them, plain or vectorised, is reached through the one
// dispatch of compact_ldlt_kernels.h, which nothing behind it calls back; the plain path serves
// a profile with a row of no slots, which the vectorised ones do not take.

namespace {

// Pivot quotients below this mark the matrix as numerically singular.
constexpr double smallestPivotQuotient = 1.0e-20;
// The largest finite double: the starting value of the smallest pivot.
constexpr double largestDouble = 1.7976931348623157e308;

// Number of array elements for an order n; n ≤ 0 is an empty system.
std::size_t ElementCount(std::int32_t n) {
  return n > 0 ? static_cast<std::size_t>(n) : 0;
}

// f(0) = 0 and f(i) = diagPos[i − 1] − diagPos[i] + i + 1: the row holds the columns up to i,
// one slot each. Unsigned arithmetic keeps this defined for any position contents. Returns
// whether every row has its diagonal slot, 0 ≤ f(i) ≤ i, which the blocked factorisation needs;
// a compact form built from a matrix with all its diagonals always has it.
bool BuildFirstColumns(std::int32_t n, const std::uint32_t* diagPos, std::int32_t* first) {
  bool regular = true;
  for (std::int32_t i = 0; i < n; ++i) {
    if (i == 0) {
      first[i] = 0;
    } else {
      first[i] = static_cast<std::int32_t>(diagPos[i - 1] - diagPos[i] +
                                           static_cast<std::uint32_t>(i) + 1u);
    }
    regular = regular && first[i] >= 0 && first[i] <= i;
  }
  return regular;
}

// Lanes for count right-hand sides: the next multiple of the vector width, at most a block.
std::int32_t RoundUpToLanes(std::int32_t count) {
  std::int32_t width = (count + solveLaneWidth - 1) / solveLaneWidth * solveLaneWidth;
  return std::min(width, solveBlockWidth);
}

// Solves the right-hand sides in groups of up to solveBlockWidth, side by side in an
// interleaved copy: element k of right-hand side t at lanes[k·width + t]. Lanes past the last
// right-hand side hold zeros and are not copied back. Returns false, with nothing changed, when
// the copy cannot be had; the caller then solves them one at a time.
bool SolveSideBySide(std::int32_t n, const double* const* rowDiagonal, const std::int32_t* first,
                     double* rightHandSides, std::int32_t rightHandSideCount) {
  std::size_t count = ElementCount(n);
  std::int32_t widest = RoundUpToLanes(rightHandSideCount);
  double* lanes = static_cast<double*>(std::malloc(count * widest * sizeof(double)));
  if (lanes == nullptr) {
    return false;
  }
  AdviseHugePages(lanes, count * widest * sizeof(double));
  KernelPath path = FastestKernelPath();
  for (std::int32_t r0 = 0; r0 < rightHandSideCount; r0 += solveBlockWidth) {
    std::int32_t groupCount = std::min(solveBlockWidth, rightHandSideCount - r0);
    std::int32_t width = RoundUpToLanes(groupCount);
    double* group = rightHandSides + static_cast<std::size_t>(r0) * count;
    for (std::size_t k = 0; k < count; ++k) {
      for (std::int32_t t = 0; t < width; ++t) {
        lanes[k * width + t] = t < groupCount ? group[t * count + k] : 0.0;
      }
    }
    SolveInterleaved(n, rowDiagonal, first, lanes, width, 0, path);
    for (std::int32_t t = 0; t < groupCount; ++t) {
      for (std::size_t k = 0; k < count; ++k) {
        group[t * count + k] = lanes[k * width + t];
      }
    }
  }
  std::free(lanes);
  return true;
}

}  // namespace

std::int32_t COMPACT_FACTORIZE_2(std::int32_t n, const std::uint32_t* diagPos,
                                 double* compactValues, std::int32_t* flag) {
  std::size_t count = ElementCount(n);
  // On an allocation failure the arrays already taken are not given back: kept as it is.
  double** rowDiagonal = static_cast<double**>(std::malloc(count * sizeof(double*)));
  if (rowDiagonal == nullptr) {
    std::printf("COMPACT_FACTORIZE_2: unable to allocate space.");
    return -1;
  }
  // g holds the work vectors of a block of rows side by side, as many rows as the fastest path
  // takes (the plain path, for an irregular profile, needs fewer).
  KernelPath fastest = FastestKernelPath();
  std::size_t gBytes = count * FactorizeBlockRowsOf(fastest) * sizeof(double);
  double* g = static_cast<double*>(std::malloc(gBytes));
  if (g == nullptr) {
    std::printf("COMPACT_FACTORIZE_2: unable to allocate space.");
    return -1;
  }
  std::int32_t* first = static_cast<std::int32_t*>(std::malloc(count * sizeof(std::int32_t)));
  if (first == nullptr) {
    std::printf("COMPACT_FACTORIZE_2: unable to allocate space.");
    return -1;
  }
  AdviseHugePages(g, gBytes);

  for (std::int32_t i = 0; i < n; ++i) {
    rowDiagonal[i] = compactValues + (diagPos[i] - 1u);
  }
  bool regular = BuildFirstColumns(n, diagPos, first);

  // Row 0 is taken exactly as stored and takes no part in the extremes; ties keep the earlier
  // row.
  PivotExtremes extremes{0.0, largestDouble, 1, 1};
  FactorizeRowBlocks(n, rowDiagonal, first, g, extremes, regular ? fastest : KernelPath::plain);
  double maxD = extremes.maxD;
  double minD = extremes.minD;
  std::int32_t maxIdx = extremes.maxIdx;
  std::int32_t minIdx = extremes.minIdx;

  double quotient = minD / maxD;
  // An ordered comparison: a NaN quotient (every pivot zero) passes as success.
  if (quotient < smallestPivotQuotient) {
    *flag = 1;
    // The message is composed but deliberately not shown: the caller learns of the failure
    // through the flag and the return code alone. The scratch arrays stay allocated on this
    // path, as they always have.
    char message[256];
    std::snprintf(message, sizeof message,
                  "COMPACT_FACTORIZE_2: quotient of diagonal elements to small %2.2g:%2.2g "
                  "(D[%d]:D[%d]) = %2.2g",
                  minD, maxD, minIdx, maxIdx, quotient);
    return -1;
  }

  std::free(rowDiagonal);
  std::free(g);
  std::free(first);
  return 0;
}

std::int32_t COMPACT_SOLVE_2(std::int32_t n, const std::uint32_t* diagPos,
                             const double* compactValues, double* rightHandSides,
                             std::int32_t rightHandSideCount) {
  std::size_t count = ElementCount(n);
  const double** rowDiagonal =
      static_cast<const double**>(std::malloc(count * sizeof(const double*)));
  if (rowDiagonal == nullptr) {
    std::printf("COMPACT_SOLVE_2: unable to allocate space.");
    return -1;
  }
  std::int32_t* first = static_cast<std::int32_t*>(std::malloc(count * sizeof(std::int32_t)));
  if (first == nullptr) {
    std::printf("COMPACT_SOLVE_2: unable to allocate space.");
    return -1;
  }
  for (std::int32_t i = 0; i < n; ++i) {
    rowDiagonal[i] = compactValues + (diagPos[i] - 1u);
  }
  bool regular = BuildFirstColumns(n, diagPos, first);

  if (rightHandSideCount >= 2 &&
      SolveSideBySide(n, rowDiagonal, first, rightHandSides, rightHandSideCount)) {
    std::free(rowDiagonal);
    std::free(first);
    return 0;
  }
  // Each right-hand side is solved on its own, in storage order. The vectorised paths take the
  // rows in groups, which needs every row's diagonal slot (0 ≤ f(i) ≤ i).
  KernelPath path = regular ? FastestKernelPath() : KernelPath::plain;
  for (std::int32_t r = 0; r < rightHandSideCount; ++r) {
    double* x = rightHandSides + static_cast<std::size_t>(r) * count;
    SolveInterleaved(n, rowDiagonal, first, x, 1, 0, path);
  }

  std::free(rowDiagonal);
  std::free(first);
  return 0;
}

bool CompactFactorsFinite(std::int32_t n, const std::uint32_t* diagPos,
                          const double* compactValues) {
  // Row i's elements of L are the slots from the end of row i − 1 up to its diagonal.
  for (std::int32_t i = 1; i < n; ++i) {
    for (std::uint32_t p = diagPos[i - 1]; p + 1u < diagPos[i]; ++p) {
      if (!std::isfinite(compactValues[p])) {
        return false;
      }
    }
  }
  return true;
}

std::int32_t SolveUnitColumns(std::int32_t n, const std::uint32_t* diagPos,
                              const double* compactValues, bool factorsFinite,
                              std::int32_t firstColumn, std::int32_t columnCount, double* columns) {
  std::size_t count = ElementCount(n);
  const double** rowDiagonal =
      static_cast<const double**>(std::malloc(count * sizeof(const double*)));
  std::int32_t* first = static_cast<std::int32_t*>(std::malloc(count * sizeof(std::int32_t)));
  double* lanes = static_cast<double*>(std::malloc(count * solveBlockWidth * sizeof(double)));
  if (rowDiagonal == nullptr || first == nullptr || lanes == nullptr) {
    std::free(rowDiagonal);
    std::free(first);
    std::free(lanes);
    return -1;
  }
  AdviseHugePages(lanes, count * solveBlockWidth * sizeof(double));
  for (std::int32_t i = 0; i < n; ++i) {
    rowDiagonal[i] = compactValues + (diagPos[i] - 1u);
  }
  BuildFirstColumns(n, diagPos, first);
  KernelPath path = FastestKernelPath();

  for (std::int32_t done = 0; done < columnCount; done += solveBlockWidth) {
    std::int32_t c0 = firstColumn + done;
    std::int32_t groupCount = std::min(solveBlockWidth, columnCount - done);
    std::int32_t width = RoundUpToLanes(groupCount);
    // Lane t holds e_(c0 + t); lanes past the group hold zeros and are not read back.
    std::fill(lanes, lanes + count * width, 0.0);
    for (std::int32_t t = 0; t < groupCount; ++t) {
      lanes[static_cast<std::size_t>(c0 + t) * width + t] = 1.0;
    }
    // Rows above c0 are +0.0 in every lane of the group; with finite factors the forward pass
    // may start there (see SolveInterleaved).
    SolveInterleaved(n, rowDiagonal, first, lanes, width, factorsFinite ? c0 : 0, path);
    for (std::int32_t t = 0; t < groupCount; ++t) {
      double* x = columns + static_cast<std::size_t>(done + t) * count;
      for (std::size_t k = 0; k < count; ++k) {
        x[k] = lanes[k * width + t];
      }
    }
  }

  std::free(rowDiagonal);
  std::free(first);
  std::free(lanes);
  return 0;
}
