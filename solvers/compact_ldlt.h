#pragma once
// L·D·Lᵀ factorisation and solve of a symmetric n×n matrix in compact row storage (variable
// band, or skyline, profile).
//
// Storage: the lower triangle by rows. Row i occupies one contiguous run of compactValues from
// its first stored column f(i) up to and including its diagonal, every column in between having
// a slot (zeros included); the rows follow each other. diagPos[i] is the one-based position of
// row i's diagonal, so diagPos[0] = 1 and row i holds diagPos[i] − diagPos[i − 1] slots.
// Element (i, j), f(i) ≤ j ≤ i, is compactValues[diagPos[i] − 1 − (i − j)].
//
// The factors replace the matrix in the same slots: the strictly lower part of the unit factor L
// in the off-diagonal slots and D in the diagonal slots. Fill-in stays inside the profile.
//
// From row 1 on every pivot is replaced by its absolute value and stored so; row 0 is taken as it
// stands. This is deliberate and kept: the callers rely on exactly these factors.
//
// Both routines take their scratch arrays with malloc and give them back with free; they check
// neither the positions nor the values, and no pivot is tested for zero before it divides. Every
// inner sum runs in ascending column order, so the results are identical bit for bit from run
// to run and from build to build. n ≤ 0 is an empty system and succeeds. Internally several
// independent sums run at once (rows of a block, right-hand sides side by side), each one
// still the same chain of operations in the same order.

#include <cstdint>

// Factorises the matrix in place as L·D·Lᵀ.
// Returns 0 on success and −1 on failure:
// - a scratch allocation failed: "COMPACT_FACTORIZE_2: unable to allocate space." is written to
//   standard output, *flag is left alone, and the arrays taken before the failing one are not
//   given back;
// - the smallest pivot of rows 1 to n − 1 divided by the largest is below 1.0e-20: *flag := 1,
//   compactValues holds the complete (unusable) factors, and the scratch arrays are not given
//   back. Nothing is written on this failure. A NaN quotient (all pivots zero) counts as success.
// The caller clears *flag before the call and tests it afterwards.
std::int32_t COMPACT_FACTORIZE_2(
    std::int32_t n,                // order of the matrix
    const std::uint32_t* diagPos,  // n one-based positions of the diagonals in compactValues
    double* compactValues,         // diagPos[n − 1] slots; the matrix on entry, L and D on exit
    std::int32_t* flag);           // one status word; set to 1 on a small pivot quotient only

// Solves L·D·Lᵀ·x = b for rightHandSideCount right-hand sides with the factors of
// COMPACT_FACTORIZE_2; each right-hand side is replaced by its solution.
// Returns 0 on success; −1 when a scratch allocation failed, in which case
// "COMPACT_SOLVE_2: unable to allocate space." is written to standard output and the
// right-hand sides are unchanged.
std::int32_t COMPACT_SOLVE_2(
    std::int32_t n,                    // order of the matrix
    const std::uint32_t* diagPos,      // n one-based positions of the diagonals in compactValues
    const double* compactValues,       // diagPos[n − 1] slots holding L and D, read only
    double* rightHandSides,            // n·rightHandSideCount doubles, b on entry, x on exit
    std::int32_t rightHandSideCount);  // number of right-hand sides stored one after another

// True when every strictly lower slot of the factors (every element of L) is finite.
bool CompactFactorsFinite(
    std::int32_t n,                // order of the matrix
    const std::uint32_t* diagPos,  // n one-based positions of the diagonals in compactValues
    const double* compactValues);  // diagPos[n − 1] slots holding L and D, read only

// Columns firstColumn to firstColumn + columnCount − 1 of (L·D·Lᵀ)⁻¹ from the factors of
// COMPACT_FACTORIZE_2, stored one after another (n doubles each) in columns. Column c is
// identical bit for bit to what COMPACT_SOLVE_2 gives for the unit vector e_c. factorsFinite
// must be CompactFactorsFinite of the same factors: with finite factors the leading zeros of
// e_c stay +0.0 exactly and the forward pass skips them.
// Requires 0 ≤ firstColumn and firstColumn + columnCount ≤ n (not checked).
// Returns 0; −1 when a scratch allocation failed, in which case nothing is written to standard
// output and columns is unchanged (the caller can solve column by column instead).
std::int32_t SolveUnitColumns(
    std::int32_t n,                // order of the matrix
    const std::uint32_t* diagPos,  // n one-based positions of the diagonals in compactValues
    const double* compactValues,   // diagPos[n − 1] slots holding L and D, read only
    bool factorsFinite,            // CompactFactorsFinite(n, diagPos, compactValues)
    std::int32_t firstColumn,      // first unit vector e_firstColumn
    std::int32_t columnCount,      // number of consecutive unit vectors
    double* columns);              // n·columnCount doubles, written
