#include "solvers/solve_dispatch.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

#include "solvers/compact_form.h"
#include "solvers/compact_ldlt.h"
#include "solvers/direct_solver_driver.h"
#include "sparse/normal_products.h"
#include "sparse/sparse_matrix_writers.h"

namespace {

// Deliberate: only the low seven bits choose the solver, so 0x80 on its own takes the compact
// path. Callers' solver codes depend on this mask; keep it.
constexpr std::uint8_t directSolverMask = 0x7F;

// Columns of the inverse solved side by side.
constexpr std::uint32_t inverseBlockColumns = 16;

// The direct-solver path. The triplets of N are formed but not handed over: the driver reads
// its own hand-over area, which stays unfilled, and x leaves as zeros. This path is wired only
// up to the call, and callers rely on exactly that.
void SolveDirect(const SparseMatrix& N, DenseVector& x) {
  std::uint32_t n = N.RowCount();
  std::uint32_t entryCount = 0;
  for (const SparseRow& row : N.rows) {
    entryCount += static_cast<std::uint32_t>(row.EntryCount());
  }
  std::vector<std::uint32_t> rowIndices(entryCount);
  std::vector<std::uint32_t> columnIndices(entryCount);
  std::vector<double> values(entryCount);
  std::size_t k = 0;
  for (std::uint32_t i = 0; i < n; ++i) {
    for (const auto& [column, value] : N.rows[i]) {
      rowIndices[k] = i;
      columnIndices[k] = column;
      values[k] = value;
      ++k;
    }
  }
  x = DenseVector(n, 0.0);
  SolveWithPardiso();
}

// ‖r‖₂ with the squares summed in ascending order from 0.0, for identical bits.
double EuclideanNorm(const DenseVector& r) {
  double sum = 0.0;
  for (std::size_t i = 0; i < r.size(); ++i) {
    sum = sum + r[i] * r[i];
  }
  return std::sqrt(sum);
}

// Q(r, c) := x(r) for every r with x(r) not exactly zero; column c of Q is empty before.
void StoreColumn(SparseMatrix& Q, std::uint32_t c, const double* x, std::uint32_t n) {
  for (std::uint32_t r = 0; r < n; ++r) {
    if (x[r] != 0.0) {
      SetElement(Q, r, c, x[r]);
    }
  }
}

// Column c of N⁻¹ is the solution for the unit vector e_c. The columns are solved in blocks,
// side by side, each exactly as a solve of e_c on its own would give it, and stored in
// ascending column order, so every row of Q grows at its end. Should the block's scratch not be
// had, its columns are solved one at a time.
void StoreInverse(const CompactForm& form, std::int32_t order, SparseMatrix& Q) {
  std::uint32_t n = static_cast<std::uint32_t>(order);
  bool factorsFinite = CompactFactorsFinite(order, form.diagonalPositions, form.values);
  std::vector<double> block(static_cast<std::size_t>(n) * inverseBlockColumns);
  for (std::uint32_t c0 = 0; c0 < n; c0 += inverseBlockColumns) {
    std::uint32_t count = std::min<std::uint32_t>(inverseBlockColumns, n - c0);
    if (SolveUnitColumns(order, form.diagonalPositions, form.values, factorsFinite,
                         static_cast<std::int32_t>(c0), static_cast<std::int32_t>(count),
                         block.data()) != 0) {
      for (std::uint32_t t = 0; t < count; ++t) {
        double* column = block.data() + static_cast<std::size_t>(t) * n;
        std::fill(column, column + n, 0.0);
        column[c0 + t] = 1.0;
        COMPACT_SOLVE_2(order, form.diagonalPositions, form.values, column, 1);
      }
    }
    for (std::uint32_t t = 0; t < count; ++t) {
      StoreColumn(Q, c0 + t, block.data() + static_cast<std::size_t>(t) * n, n);
    }
  }
}

}  // namespace

void SolveNormalEquations(const SparseMatrix& N, const DenseVector& b, DenseVector& x,
                          std::uint8_t solverSelector, double /*ignoredParameter*/,
                          double* residualNorm) {
  if ((solverSelector & directSolverMask) != 0) {
    SolveDirect(N, x);
    return;
  }
  x = b;
  // The result is not needed: a failed solve leaves x = b, which the residual then shows.
  SolveCompact(N, x);
  DenseVector residual = SubtractVector(b, MultiplyVector(N, x));
  *residualNorm = EuclideanNorm(residual);
}

bool SolveCompact(const SparseMatrix& N, DenseVector& x) {
  std::uint32_t n = N.RowCount();
  CompactForm form;
  if (!BuildCompactForm(N, form)) {
    // The arrays taken by the build are left as they are on this early return, on purpose.
    return false;
  }
  DenseVector work(n);
  for (std::uint32_t i = 0; i < n; ++i) {
    work[i] = x[i];
  }
  std::int32_t order = static_cast<std::int32_t>(n);
  std::int32_t flag = 0;
  // Only the flag decides; the return code adds nothing the caller acts on.
  COMPACT_FACTORIZE_2(order, form.diagonalPositions, form.values, &flag);
  if (flag == 0) {
    COMPACT_SOLVE_2(order, form.diagonalPositions, form.values, work.data(), 1);
  }
  ReleaseCompactForm(form);
  for (std::uint32_t i = 0; i < n; ++i) {
    x[i] = work[i];
  }
  return flag == 0;
}

bool InvertCompact(const SparseMatrix& N, SparseMatrix& Q) {
  std::uint32_t n = N.RowCount();
  Q.rows.assign(n, SparseRow());
  Q.columnCount = n;
  CompactForm form;
  if (!BuildCompactForm(N, form)) {
    // As in SolveCompact, the build's arrays are left on this early return.
    return false;
  }
  std::int32_t order = static_cast<std::int32_t>(n);
  std::int32_t flag = 0;
  COMPACT_FACTORIZE_2(order, form.diagonalPositions, form.values, &flag);
  if (flag == 0) {
    StoreInverse(form, order, Q);
  }
  ReleaseCompactForm(form);
  return flag == 0;
}
