#include "iteration/normal_equations.h"

#include <algorithm>

#include "model_access/datum_constraints.h"
#include "sparse/normal_products.h"
#include "sparse/sparse_matrix_writers.h"

void FormNormalEquations(const SparseMatrix& A, const SparseMatrix& P, const DenseVector& l,
                         SparseMatrix& T, SparseMatrix& N, DenseVector& b) {
  MultiplyTransposed(A, P, T);
  Multiply(T, A, N);
  b = MultiplyVector(T, l);
}

void AddDiagonalDamping(SparseMatrix& N, double damping) {
  for (std::uint32_t k = 0; k < N.RowCount(); ++k) {
    SetElement(N, k, k, GetElement(N, k, k) + damping);
  }
}

void AddDatum(SparseMatrix& N, const std::set<NetworkPoint>& points, const UnknownIndex& unknowns) {
  SparseMatrix G;
  BuildDatumConstraints(G, points, unknowns);
  AddInPlace(N, G);
}

void SubtractDatum(SparseMatrix& N, const std::set<NetworkPoint>& points,
                   const UnknownIndex& unknowns) {
  SparseMatrix G;
  BuildDatumConstraints(G, points, unknowns);
  SubtractInPlace(N, G);
}

void SumLeadingSquaredResiduals(const SparseMatrix& A, const DenseVector& x, const DenseVector& l,
                                std::uint32_t count, double& sum) {
  const DenseVector residuals = SubtractVector(MultiplyVector(A, x), l);
  sum = 0.0;
  // The sum runs over the first count (the number of unknowns) residuals. With more unknowns
  // than observations there are fewer residuals than that; the sum stops at the last one
  // instead of reading past the vector.
  const std::size_t summed = std::min<std::size_t>(count, residuals.size());
  for (std::size_t k = 0; k < summed; ++k) {
    sum += residuals[k] * residuals[k];
  }
}
