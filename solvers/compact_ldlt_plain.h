#pragma once
// The plain row loops of the compact routines: one sum at a time, in the order that defines
// every result bit for bit. Reached only through the dispatch of compact_ldlt_kernels.h.
// Notation as there.

#include <cstdint>

#include "solvers/compact_ldlt_kernels.h"

// Rows 1 to n − 1 of L and D in place, row by row, each pivot replaced by its absolute value;
// updates extremes. Any profile, also one with a row of no slots. g: n doubles of scratch.
void PlainFactorizeRows(std::int32_t n,              // order
                        double* const* rowDiagonal,  // n row pointers into the compact values
                        const std::int32_t* first,   // n first columns
                        double* g,                   // n doubles, l(i, j)·d(j) of the row
                        PivotExtremes& extremes);    // running extremes, updated

// Forward substitution, D⁻¹ and backward substitution of one right-hand side whose element k
// is x[k·stride]; replaced by the solution.
void PlainSolve(std::int32_t n,                    // order
                const double* const* rowDiagonal,  // n row pointers to the factors
                const std::int32_t* first,         // n first columns
                double* x,                         // the right-hand side, every stride-th double
                std::int32_t stride);              // distance of x(k) and x(k + 1)
