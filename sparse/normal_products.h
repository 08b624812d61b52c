#pragma once
// The matrix arithmetic of the adjustment: N = AᵀPA and b = AᵀPl are formed with these, the
// datum Gram matrix GᵀG, the residuals A·x − l and b − N·x, and the in-place sum and
// difference of N and GᵀG.
//
// Every loop runs over ascending row indices and over each row's entries in ascending column
// order, so every sum is accumulated in ascending order of its running index. To accumulate v
// into K[r][k]: an existing entry becomes v + old (old − v for a difference); an absent one is
// created holding v (−v) itself, even when v is zero. Nothing is dropped, no symmetry is used.
//
// No precondition is checked (see each operation). A product first discards everything the
// result matrix held and then forms the result row by row. Exceptions (std::bad_alloc,
// std::length_error) leave the result valid, holding what was formed before the failure: the
// rows completed so far for a product, the rows updated so far for a sum or difference.

#include "sparse/sparse_matrix.h"

// K = AᵀB. K gets A.columnCount rows and B.columnCount columns; K[j][k] = Σ_i A[i][j]·B[i][k],
// ascending i. Requires: B has at least A's rows, A's columns are below A.columnCount, K is
// neither A nor B (A and B may be the same matrix).
void MultiplyTransposed(const SparseMatrix& A, const SparseMatrix& B, SparseMatrix& K);

// K = AB. K gets A's row count and B.columnCount columns; K[i][k] = Σ_j A[i][j]·B[j][k],
// ascending j. Requires: A's columns are below B's row count, K is neither A nor B.
void Multiply(const SparseMatrix& A, const SparseMatrix& B, SparseMatrix& K);

// y = M·x, of M's row count elements; y[i] = 0.0 + Σ_j x[j]·M[i][j], ascending j.
// Requires: x is longer than every column stored in M.
DenseVector MultiplyVector(const SparseMatrix& M, const DenseVector& x);

// D = D + S over D's rows (S's further rows are ignored; D.columnCount is unchanged).
void AddInPlace(SparseMatrix& D, const SparseMatrix& S);

// D = D − S over D's rows, as AddInPlace.
void SubtractInPlace(SparseMatrix& D, const SparseMatrix& S);

// r = a − b, of a's length. Requires: b is at least as long as a.
DenseVector SubtractVector(const DenseVector& a, const DenseVector& b);
