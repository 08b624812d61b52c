#include "solvers/compact_ldlt.h"

#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstdlib>

// Notation inside this file: rowDiagonal[i] points at the diagonal slot of row i, so element
// (i, j) of the matrix (or of L) is rowDiagonal[i][j − i]; first[i] is f(i), the first stored
// column of row i; d(i) is rowDiagonal[i][0] once row i is factorised.

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
// one slot each. Unsigned arithmetic keeps this defined for any position contents.
void BuildFirstColumns(std::int32_t n, const std::uint32_t* diagPos, std::int32_t* first) {
  for (std::int32_t i = 0; i < n; ++i) {
    if (i == 0) {
      first[i] = 0;
    } else {
      first[i] = static_cast<std::int32_t>(diagPos[i - 1] - diagPos[i] +
                                           static_cast<std::uint32_t>(i) + 1u);
    }
  }
}

// Row i of L and d(i) (before its absolute value is taken) from the rows above, for
// i = 1 … n − 1. g keeps l(i, j)·d(j) of the current row.
void FactorizeRow(std::int32_t i, double* const* rowDiagonal, const std::int32_t* first,
                  double* g) {
  double* rowI = rowDiagonal[i];
  std::int32_t firstI = first[i];
  if (firstI >= i) {
    return;
  }
  // Row i of L, columns f(i) to i − 1: g(j) = a(i, j) − Σ_k l(j, k)·g(k), k from
  // max(f(i), f(j)) to j − 1 ascending, then l(i, j) = g(j) / d(j).
  for (std::int32_t j = firstI; j < i; ++j) {
    const double* rowJ = rowDiagonal[j];
    std::int32_t k = first[j] > firstI ? first[j] : firstI;
    double sum = rowI[j - i];
    for (; k < j; ++k) {
      sum = sum - rowJ[k - j] * g[k];
    }
    g[j] = sum;
    rowI[j - i] = sum / rowJ[0];
  }
  // d(i) = a(i, i) − Σ_k l(i, k)·g(k), k from f(i) to i − 1 ascending.
  double pivot = rowI[0];
  for (std::int32_t k = firstI; k < i; ++k) {
    pivot = pivot - rowI[k - i] * g[k];
  }
  rowI[0] = pivot;
}

// x := L⁻¹·x, rows 1 to n − 1: x(i) −= Σ_k l(i, k)·x(k), k from f(i) to i − 1 ascending.
void ForwardSubstitution(std::int32_t n, const double* const* rowDiagonal,
                         const std::int32_t* first, double* x) {
  for (std::int32_t i = 1; i < n; ++i) {
    const double* rowI = rowDiagonal[i];
    double sum = x[i];
    for (std::int32_t k = first[i]; k < i; ++k) {
      sum = sum - rowI[k - i] * x[k];
    }
    x[i] = sum;
  }
}

// x := D⁻¹·x.
void DiagonalSolve(std::int32_t n, const double* const* rowDiagonal, double* x) {
  for (std::int32_t i = 0; i < n; ++i) {
    x[i] = x[i] / rowDiagonal[i][0];
  }
}

// x := L⁻ᵀ·x by columns of Lᵀ: from row n − 1 down to 1, x(k) −= l(i, k)·x(i) for k from f(i)
// to i − 1 ascending.
void BackwardSubstitution(std::int32_t n, const double* const* rowDiagonal,
                          const std::int32_t* first, double* x) {
  for (std::int32_t i = n - 1; i >= 1; --i) {
    const double* rowI = rowDiagonal[i];
    double xi = x[i];
    for (std::int32_t k = first[i]; k < i; ++k) {
      x[k] = x[k] - rowI[k - i] * xi;
    }
  }
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
  double* g = static_cast<double*>(std::malloc(count * sizeof(double)));
  if (g == nullptr) {
    std::printf("COMPACT_FACTORIZE_2: unable to allocate space.");
    return -1;
  }
  std::int32_t* first = static_cast<std::int32_t*>(std::malloc(count * sizeof(std::int32_t)));
  if (first == nullptr) {
    std::printf("COMPACT_FACTORIZE_2: unable to allocate space.");
    return -1;
  }

  for (std::int32_t i = 0; i < n; ++i) {
    rowDiagonal[i] = compactValues + (diagPos[i] - 1u);
  }
  BuildFirstColumns(n, diagPos, first);

  // Row 0 is taken exactly as stored and takes no part in the extremes; ties keep the earlier
  // row.
  double maxD = 0.0;
  double minD = largestDouble;
  std::int32_t maxIdx = 1;
  std::int32_t minIdx = 1;
  for (std::int32_t i = 1; i < n; ++i) {
    FactorizeRow(i, rowDiagonal, first, g);
    // Deliberate: the pivot is replaced by its absolute value, so the factors are those of a
    // positive definite matrix even where the matrix is not; kept as the callers expect it.
    double pivot = std::fabs(rowDiagonal[i][0]);
    rowDiagonal[i][0] = pivot;
    if (pivot > maxD) {
      maxD = pivot;
      maxIdx = i;
    }
    if (minD > pivot) {
      minD = pivot;
      minIdx = i;
    }
  }

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
  BuildFirstColumns(n, diagPos, first);

  // Each right-hand side is solved on its own, in storage order.
  for (std::int32_t r = 0; r < rightHandSideCount; ++r) {
    double* x = rightHandSides + static_cast<std::size_t>(r) * count;
    ForwardSubstitution(n, rowDiagonal, first, x);
    DiagonalSolve(n, rowDiagonal, x);
    BackwardSubstitution(n, rowDiagonal, first, x);
  }

  std::free(rowDiagonal);
  std::free(first);
  return 0;
}
