#pragma once
// Solution of the normal equations N·x = b and the inverse of N, for the iteration driver.
//
// The compact path factorises N as L·D·Lᵀ in compact row storage (solvers/compact_ldlt.h);
// only N's lower triangle with the diagonal is read (solvers/compact_form.h). From the second
// row on every pivot is taken by its absolute value, so an N that is not positive definite
// gives a wrong x, which the caller sees only through the residual norm.
//
// Nothing here checks shapes: b (and x on entry to SolveCompact) must have at least N's row
// count elements. Allocation failure raises std::bad_alloc, container growth past its maximum
// std::length_error.

#include <cstdint>

#include "sparse/sparse_matrix.h"

// Solves N·x = b by the path the solver selector chooses; ignoredParameter is not used.
// - Any of the selector's low seven bits set: the direct-solver path. x becomes N's row count
//   zeros and *residualNorm is not written.
// - Otherwise (0, and 0x80 alone): the compact path. x = N⁻¹·b from SolveCompact (x = b when
//   it fails), and *residualNorm = ‖b − N·x‖₂, summed in ascending order (0.0 for n = 0).
// residualNorm must point at a double.
void SolveNormalEquations(const SparseMatrix& N, const DenseVector& b, DenseVector& x,
                          std::uint8_t solverSelector, double ignoredParameter,
                          double* residualNorm);

// x := N⁻¹·x on the compact path. Returns true when the factorisation reported no small pivot
// quotient. Returns false with x unchanged when the compact form cannot be built (see
// BuildCompactForm; its arrays are left allocated) or on a small pivot quotient.
bool SolveCompact(const SparseMatrix& N, DenseVector& x);

// Q := N⁻¹, column by column, without its exact zeros; Q gets N's row count rows and columns.
// Returns true when the factorisation reported no small pivot quotient. Returns false with Q
// holding only its empty rows when the compact form cannot be built (arrays left allocated, as
// in SolveCompact) or on a small pivot quotient.
bool InvertCompact(const SparseMatrix& N, SparseMatrix& Q);
