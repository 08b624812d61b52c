#include "solvers/compact_ldlt_plain.h"

#include <cmath>
#include <cstddef>

namespace {

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

}  // namespace

void PlainFactorizeRows(std::int32_t n, double* const* rowDiagonal, const std::int32_t* first,
                        double* g, PivotExtremes& extremes) {
  for (std::int32_t i = 1; i < n; ++i) {
    FactorizeRow(i, rowDiagonal, first, g);
    // Deliberate: the pivot is replaced by its absolute value, so the factors are those of a
    // positive definite matrix even where the matrix is not; kept as the callers expect it.
    double pivot = std::fabs(rowDiagonal[i][0]);
    rowDiagonal[i][0] = pivot;
    extremes.Record(pivot, i);
  }
}

void PlainSolve(std::int32_t n, const double* const* rowDiagonal, const std::int32_t* first,
                double* x, std::int32_t stride) {
  const auto at = [x, stride](std::int32_t k) -> double& {
    return x[static_cast<std::size_t>(k) * stride];
  };
  // x := L⁻¹·x, rows 1 to n − 1: x(i) −= Σ_k l(i, k)·x(k), k from f(i) to i − 1 ascending.
  for (std::int32_t i = 1; i < n; ++i) {
    const double* rowI = rowDiagonal[i];
    double sum = at(i);
    for (std::int32_t k = first[i]; k < i; ++k) {
      sum = sum - rowI[k - i] * at(k);
    }
    at(i) = sum;
  }
  // x := D⁻¹·x.
  for (std::int32_t i = 0; i < n; ++i) {
    at(i) = at(i) / rowDiagonal[i][0];
  }
  // x := L⁻ᵀ·x by columns of Lᵀ: from row n − 1 down to 1, x(k) −= l(i, k)·x(i) for k from f(i)
  // to i − 1 ascending.
  for (std::int32_t i = n - 1; i >= 1; --i) {
    const double* rowI = rowDiagonal[i];
    double xi = at(i);
    for (std::int32_t k = first[i]; k < i; ++k) {
      at(k) = at(k) - rowI[k - i] * xi;
    }
  }
}
