#pragma once
// The compact row storage (see solvers/compact_ldlt.h) of a symmetric N given as a SparseMatrix.
//
// Only the lower triangle with the diagonal is read: the walk of row i stops at its diagonal, so
// a matrix holding both triangles is accepted and the entries above a present diagonal are
// never looked at. Inside a row, the columns skipped between two entries get 0.0 slots, so the
// row becomes dense from its first column up to its last entry read.
//
// The arrays come from new[] and go back with ReleaseCompactForm; the build never frees them,
// also not when it fails (callers return at once and leave them, as they always have).

#include <cstdint>

#include "solvers/compact_profile.h"
#include "sparse/sparse_matrix.h"

struct CompactForm {
  // One element per row of N: the one-based position of a row's diagonal in values.
  std::uint32_t* diagonalPositions = nullptr;
  // Σ (i − c₀(i) + 1) slots over the rows, c₀(i) the row's smallest column.
  double* values = nullptr;
};

// Builds form from N. Returns false, with the arrays taken so far left in form, when a row is
// empty, when a row's smallest column lies above the diagonal, or when a row without its
// diagonal entry holds an entry above the diagonal.
//
// A row whose entries end before its diagonal (all of them left of it) is not a failure: it
// stores its slots but no position, so the positions of the later rows move up one place and
// the last position stays unset. The factorisation then reads that unset element; this is how
// the system behaves and it is kept.
// Allocation failure raises std::bad_alloc; a profile past maxCompactSlots raises
// std::length_error before anything is written (see solvers/compact_profile.h).
bool BuildCompactForm(const SparseMatrix& N, CompactForm& form);

// Gives both arrays back and nulls them.
void ReleaseCompactForm(CompactForm& form);
