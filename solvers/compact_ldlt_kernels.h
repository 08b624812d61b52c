#pragma once
// The one dispatch behind COMPACT_FACTORIZE_2 and COMPACT_SOLVE_2: every pass of the compact
// routines, plain or vectorised, is reached through the two functions below and nothing behind
// them calls back up. Internal to solvers/.
//
// Every path computes each element by exactly the operations of the plain row loops, in the
// same order: each sum is the same chain of subtractions in ascending k, a product is one IEEE
// multiplication and the subtraction a separate one (never fused). The vectorised paths only
// interleave independent chains (the rows of a block, right-hand sides side by side), so all
// paths give identical bits, signed zeros, infinities and NaNs included.
//
// Notation: rowDiagonal[i] points at the diagonal slot of row i, element (i, j) is
// rowDiagonal[i][j − i], first[i] is f(i), the first stored column of row i.

#include <cstdint>

// plain: the row loops one sum at a time, for any profile.
// portable, avx2, avx512: rows in blocks and right-hand sides side by side, in vectors of two
// (portable: 128-bit registers, which every x86-64 processor has), four (avx2: 256-bit
// registers) or eight doubles (avx512: 512-bit registers, AVX-512F/DQ/VL).
enum class KernelPath { plain, portable, avx2, avx512 };

// Whether this processor can run path.
bool KernelPathAvailable(KernelPath path);

// The widest vectorised path this processor can run.
KernelPath FastestKernelPath();

// Rows factorised together on path: the work vector g holds this many rows' vectors
// interleaved, g[k·rows + r] for row top + r of the current block (1 on the plain path).
std::int32_t FactorizeBlockRowsOf(KernelPath path);

// The most rows any path factorises together: n·factorizeBlockRows doubles of g suit every path.
constexpr std::int32_t factorizeBlockRows = 16;

// Right-hand sides solved together on the vectorised paths: up to solveBlockWidth, in multiples
// of solveLaneWidth; the interleaved solve of width w reads x[k·w + t] for right-hand side t.
constexpr std::int32_t solveLaneWidth = 4;
constexpr std::int32_t solveBlockWidth = 16;

// The extremes of the pivots of rows 1 to n − 1 as the factorisation tracks them.
struct PivotExtremes {
  double maxD;
  double minD;
  std::int32_t maxIdx;
  std::int32_t minIdx;

  // Takes the finished pivot of row in; strict comparisons in ascending row order, so ties keep
  // the earlier row.
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
// plain row loop does it; updates extremes from row 1 on. The vectorised paths require
// 0 ≤ f(i) ≤ i for every row (every row has its diagonal slot); the plain path takes any
// profile. path must be available on this processor.
void FactorizeRowBlocks(std::int32_t n,              // order
                        double* const* rowDiagonal,  // n row pointers into the compact values
                        const std::int32_t* first,   // n first columns
                        double* g,  // n·FactorizeBlockRowsOf(path) doubles of scratch
                        PivotExtremes& extremes,  // running extremes, updated
                        KernelPath path);

// Forward substitution, D⁻¹ and backward substitution for width interleaved right-hand sides
// x (n·width doubles, replaced by the solutions); each column t of x goes through exactly the
// operations of the plain one-at-a-time solve. The plain path takes any width ≥ 1; the
// vectorised paths 1, 4, 8, 12 or 16 (width 1 is one right-hand side stored contiguously, whose
// forward pass runs several rows' sums side by side).
//
// skipBelow = 0 is the plain solve. With skipBelow = c > 0 every right-hand side must hold
// +0.0 in rows 0 to c − 1 and no −0.0 in any row, and every strictly lower factor must be
// finite: then those rows stay +0.0 through the forward pass, and every forward term
// l(i, k)·x(k) with k < c is a zero subtracted from a sum that is still its row's start value
// (+0.0 or non-zero), which it leaves unchanged; so the pass may start at row c and each sum at
// max(f(i), c), with identical results. Unit right-hand sides qualify.
void SolveInterleaved(std::int32_t n,                    // order
                      const double* const* rowDiagonal,  // n row pointers to the factors
                      const std::int32_t* first,         // n first columns
                      double* x,                         // n·width interleaved right-hand sides
                      std::int32_t width,                // right-hand sides side by side
                      std::int32_t skipBelow,  // leading rows known to be +0.0 (see above)
                      KernelPath path);
