#include "solvers/compact_ldlt_kernels.h"

#include "solvers/compact_ldlt_blocked.h"
#include "solvers/compact_ldlt_interleaved.h"
#include "solvers/compact_ldlt_plain.h"

namespace {

using compact_ldlt_blocked::BlockShape;
using compact_ldlt_blocked::FactorizeBlocks;
using compact_ldlt_interleaved::SolveWidth;
using compact_ldlt_lanes::Lanes2;
using compact_ldlt_lanes::Lanes4;
using compact_ldlt_lanes::Lanes8;

// The block shapes. The portable path keeps to two doubles a vector, the width every x86-64
// processor has in its registers (wider generic vectors split by the compiler ran slower than
// the plain loop). The 256-bit path takes eight rows and four columns. The 512-bit path takes
// sixteen rows and six columns, so that every loaded element of L serves sixteen rows, every
// loaded g(k) six columns, and the fixed work of a block (its masks, its triangle, finishing its
// columns) is shared by twice as many rows; its 32 registers hold the twelve sums of a group.
using ShapeOfTwo = BlockShape<Lanes2, 4, 4>;
using ShapeOfFour = BlockShape<Lanes4, 2, 4>;
using ShapeOfEight = BlockShape<Lanes8, 2, 6>;

// The same source compiled three times: each entry point inlines the whole pass with its own
// instruction set. The AVX-512 path is compiled with the floating-point contraction of the whole
// build switched off like every other, so no fused multiply-add appears there either.
void FactorizePortable(std::int32_t n, double* const* rowDiagonal, const std::int32_t* first,
                       double* g, PivotExtremes& extremes) {
  FactorizeBlocks<ShapeOfTwo>(n, rowDiagonal, first, g, extremes);
}

[[gnu::target("avx2")]] void FactorizeAvx2(std::int32_t n, double* const* rowDiagonal,
                                           const std::int32_t* first, double* g,
                                           PivotExtremes& extremes) {
  FactorizeBlocks<ShapeOfFour>(n, rowDiagonal, first, g, extremes);
}

[[gnu::target("avx512f,avx512dq,avx512vl")]] void FactorizeAvx512(std::int32_t n,
                                                                  double* const* rowDiagonal,
                                                                  const std::int32_t* first,
                                                                  double* g,
                                                                  PivotExtremes& extremes) {
  FactorizeBlocks<ShapeOfEight>(n, rowDiagonal, first, g, extremes);
}

void SolvePortable(std::int32_t n, const double* const* rowDiagonal, const std::int32_t* first,
                   double* x, std::int32_t width, std::int32_t skipBelow) {
  SolveWidth<Lanes2>(n, rowDiagonal, first, x, width, skipBelow);
}

[[gnu::target("avx2")]] void SolveAvx2(std::int32_t n, const double* const* rowDiagonal,
                                       const std::int32_t* first, double* x, std::int32_t width,
                                       std::int32_t skipBelow) {
  SolveWidth<Lanes4>(n, rowDiagonal, first, x, width, skipBelow);
}

// Widths of 4 and 12 right-hand sides go in vectors of four (256-bit registers of AVX-512VL).
// One right-hand side alone updates whole rows of x in vectors of eight.
[[gnu::target("avx512f,avx512dq,avx512vl")]] void SolveAvx512(std::int32_t n,
                                                              const double* const* rowDiagonal,
                                                              const std::int32_t* first, double* x,
                                                              std::int32_t width,
                                                              std::int32_t skipBelow) {
  if (width == 1 || width % compact_ldlt_lanes::LaneCount<Lanes8>() == 0) {
    SolveWidth<Lanes8>(n, rowDiagonal, first, x, width, skipBelow);
  } else {
    SolveWidth<Lanes4>(n, rowDiagonal, first, x, width, skipBelow);
  }
}

}  // namespace

bool KernelPathAvailable(KernelPath path) {
  switch (path) {
    case KernelPath::avx512:
      return __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512dq") &&
             __builtin_cpu_supports("avx512vl");
    case KernelPath::avx2:
      return __builtin_cpu_supports("avx2");
    default:
      return true;
  }
}

KernelPath FastestKernelPath() {
  for (KernelPath path : {KernelPath::avx512, KernelPath::avx2}) {
    if (KernelPathAvailable(path)) {
      return path;
    }
  }
  return KernelPath::portable;
}

std::int32_t FactorizeBlockRowsOf(KernelPath path) {
  switch (path) {
    case KernelPath::plain:
      return 1;
    case KernelPath::portable:
      return ShapeOfTwo::rows;
    case KernelPath::avx2:
      return ShapeOfFour::rows;
    default:
      return ShapeOfEight::rows;
  }
}

void FactorizeRowBlocks(std::int32_t n, double* const* rowDiagonal, const std::int32_t* first,
                        double* g, PivotExtremes& extremes, KernelPath path) {
  switch (path) {
    case KernelPath::plain:
      PlainFactorizeRows(n, rowDiagonal, first, g, extremes);
      break;
    case KernelPath::portable:
      FactorizePortable(n, rowDiagonal, first, g, extremes);
      break;
    case KernelPath::avx2:
      FactorizeAvx2(n, rowDiagonal, first, g, extremes);
      break;
    case KernelPath::avx512:
      FactorizeAvx512(n, rowDiagonal, first, g, extremes);
      break;
  }
}

void SolveInterleaved(std::int32_t n, const double* const* rowDiagonal, const std::int32_t* first,
                      double* x, std::int32_t width, std::int32_t skipBelow, KernelPath path) {
  switch (path) {
    case KernelPath::plain:
      // Each right-hand side alone; the plain loops need not skip the leading zeros.
      for (std::int32_t t = 0; t < width; ++t) {
        PlainSolve(n, rowDiagonal, first, x + t, width);
      }
      break;
    case KernelPath::portable:
      SolvePortable(n, rowDiagonal, first, x, width, skipBelow);
      break;
    case KernelPath::avx2:
      SolveAvx2(n, rowDiagonal, first, x, width, skipBelow);
      break;
    case KernelPath::avx512:
      SolveAvx512(n, rowDiagonal, first, x, width, skipBelow);
      break;
  }
}
