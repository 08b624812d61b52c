#pragma once
// Plain-text dumps of the matrices and vectors of one step, for the host's dump stream.
//
// Every number is written with its own fprintf call; counts and indices are narrowed to their
// low 32 bits and printed with "%lu", values with "%lg". The stream is neither flushed nor
// closed, and write errors are ignored. The caller writes the headings.

#include <cstdio>

#include "sparse/sparse_matrix.h"

// "<rows> <columnCount> \n", then per row "\n<entries>   " followed by "<column> <value>   "
// for each stored entry in ascending column order (stored zeros included). No final line break.
void DumpSparseMatrix(const SparseMatrix& matrix, std::FILE* stream);

// "<length>\n ", then "\n<value> " per element.
void DumpVector(const DenseVector& vector, std::FILE* stream);
