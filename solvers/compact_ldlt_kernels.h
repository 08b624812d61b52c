#pragma once
// The inner passes of COMPACT_FACTORIZE_2 and COMPACT_SOLVE_2, arranged so that several
// independent sums are in flight at once. Internal to solvers/.
//
// Every element is computed by exactly the operations of the plain row loops, in the same
// order: each sum is the same chain of subtractions in ascending k, a product is one IEEE
// multiplication and the subtraction a separate one (never fused). Only the interleaving of
// independent chains differs, so the results are identical bit for bit to the plain loops,
// signed zeros, infinities and NaNs included.
//
// Notation as in compact_ldlt.cpp: rowDiagonal[i] points at the diagonal slot of row i, element
// (i, j) is rowDiagonal[i][j − i], first[i] is f(i).
//
// Each pass exists twice, compiled from one source: for processors with AVX2 (256-bit
// registers) and portable (whatever the compiler targets by default). The two give identical
// bits; the path argument chooses one, FastestKernelPath the right one for this processor.

#include <cstdint>

enum class KernelPath { portable, avx2 };

// avx2 when the processor supports it, otherwise portable.
KernelPath FastestKernelPath();

// Rows factorised together: the work vector g of COMPACT_FACTORIZE_2 holds this many rows'
// vectors interleaved, g[k·factorizeBlockRows + r] for row i0 + r of the current block.
constexpr std::int32_t factorizeBlockRows = 8;

// Right-hand sides solved together: up to solveBlockWidth, in multiples of solveLaneWidth; the
// interleaved solve of width w reads x[k·w + t] for right-hand side t.
constexpr std::int32_t solveLaneWidth = 4;
constexpr std::int32_t solveBlockWidth = 16;

// The extremes of the pivots of rows 1 to n − 1 as the factorisation tracks them: strict
// comparisons in ascending row order, so ties keep the earlier row.
struct PivotExtremes {
  double maxD;
  double minD;
  std::int32_t maxIdx;
  std::int32_t minIdx;

  // Takes the finished pivot of row in; strict comparisons, so ties keep the earlier row.
  void Record(double pivot, std::int32_t row) {
    if (pivot > maxD) {
      maxD = pivot;
      maxIdx = row;
    }
    if (minD > pivot) {
      minD = pivot;
      minIdx = row;
    }
  }
};

// Rows 1 to n − 1 of L and D in place, each pivot replaced by its absolute value, exactly as the
// plain row loop does it; updates extremes from row 1 on. Requires 0 ≤ f(i) ≤ i for every row.
void FactorizeRowBlocks(std::int32_t n,              // order
                        double* const* rowDiagonal,  // n row pointers into the compact values
                        const std::int32_t* first,   // n first columns
                        double* g,                   // n·factorizeBlockRows doubles of scratch
                        PivotExtremes& extremes,     // running extremes, updated
                        KernelPath path);

// Forward substitution, D⁻¹ and backward substitution for width interleaved right-hand sides
// x (n·width doubles, replaced by the solutions); each column t of x goes through exactly the
// operations of the plain one-at-a-time solve.
//
// skipBelow = 0 is the plain solve. With skipBelow = c > 0 every right-hand side must hold
// +0.0 in rows 0 to c − 1 and no −0.0 in any row, and every strictly lower factor must be
// finite: then those rows stay +0.0 through the forward pass, and every forward term
// l(i, k)·x(k) with k < c is a zero subtracted from a sum that is still its row's start value
// (+0.0 or non-zero), which it leaves unchanged; so the pass starts at row c and each sum at
// max(f(i), c), with identical results. Unit right-hand sides qualify.
void SolveInterleaved(std::int32_t n,                    // order
                      const double* const* rowDiagonal,  // n row pointers to the factors
                      const std::int32_t* first,         // n first columns
                      double* x,                         // n·width interleaved right-hand sides
                      std::int32_t width,                // 4, 8, 12 or 16 right-hand sides
                      std::int32_t skipBelow,  // leading rows known to be +0.0 (see above)
                      KernelPath path);
