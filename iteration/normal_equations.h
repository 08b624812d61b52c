#pragma once
// Forming the normal equations of a step from A, P and l, and the terms added to N before the
// solve. Exceptions of the sparse store pass through.

#include <cstdint>
#include <set>

#include "model_access/network_point.h"
#include "model_access/unknown_index.h"
#include "sparse/sparse_matrix.h"

// T = AᵀP, N = T·A = AᵀPA and b = T·l = AᵀPl. T, N and b are replaced.
// Not checked: P has A's row count rows and l as many elements.
void FormNormalEquations(const SparseMatrix& A, const SparseMatrix& P, const DenseVector& l,
                         SparseMatrix& T, SparseMatrix& N, DenseVector& b);

// N(k, k) = N(k, k) + damping for every row k, written with SetElement: a sum that is exactly
// zero removes the element, so with damping 0.0 an absent diagonal stays absent.
void AddDiagonalDamping(SparseMatrix& N, double damping);

// N = N + GᵀG and N = N − GᵀG, with GᵀG built from the points' current coordinates.
void AddDatum(SparseMatrix& N, const std::set<NetworkPoint>& points, const UnknownIndex& unknowns);
void SubtractDatum(SparseMatrix& N, const std::set<NetworkPoint>& points,
                   const UnknownIndex& unknowns);

// sum = Σ r[k]² over k < min(count, n) in ascending k, with r = A·x − l of n elements. No
// square root is taken. sum is cleared first and holds the running sum.
void SumLeadingSquaredResiduals(const SparseMatrix& A, const DenseVector& x, const DenseVector& l,
                                std::uint32_t count, double& sum);
