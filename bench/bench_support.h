#pragma once
// Measuring aids shared by the micro and the macro benchmarks: the least-squares system of a
// generated network without a host, the exact work count of the compact factorisation, the
// profile of N under a renumbering of its unknowns, and N in the column form the peer solvers
// read.

#include <cstdint>
#include <vector>

#include "bench/network_generator.h"
#include "sparse/sparse_matrix.h"

// A, P and l of a generated network, linearised at its approximate coordinates the way the
// host's observations are (a slope distance gives ±(to − from)/s per axis, a baseline component
// ±1), weights 1/σ². Column of (point p, axis a): 3·p + a in grid order, the fixed point's
// coordinates left out. Grid order gives N a band of roughly three grid rows.
struct NetworkSystem {
  SparseMatrix A;
  SparseMatrix P;
  DenseVector l;
};
NetworkSystem BuildNetworkSystem(const GeneratedNetwork& network);

// N = AᵀPA and b = AᵀPl with the library's products, as one adjustment step forms them.
void FormNetworkNormalEquations(const NetworkSystem& system, SparseMatrix& N, DenseVector& b);

// Number of multiply-adds COMPACT_FACTORIZE_2 performs on a profile: for every row i ≥ 1 and
// every j from f(i) to i − 1, j − max(f(j), f(i)) for the element of L, and i − f(i) for the
// pivot. diagPos as the routine reads it (n one-based diagonal positions).
std::uint64_t CompactFactorizeMultiplyAdds(std::uint32_t n, const std::uint32_t* diagPos);

// Number of multiply-adds of one right-hand side of COMPACT_SOLVE_2 (forward and backward
// substitution; the n divisions by D are not counted).
std::uint64_t CompactSolveMultiplyAdds(std::uint32_t n, const std::uint32_t* diagPos);

// Slots of the compact form of N's lower triangle, Σ (i − c₀(i) + 1), c₀(i) the smallest column
// stored in row i (a row without an entry at or left of its diagonal counts its diagonal only).
std::uint64_t CompactProfileSlots(const SparseMatrix& N);

// The same count after renumbering the unknowns: unknown k becomes newIndex[k]. Only the
// sparsity pattern matters; both triangles are looked at, so N need not be stored symmetric.
std::uint64_t CompactProfileSlots(const SparseMatrix& N,
                                  const std::vector<std::uint32_t>& newIndex);

// The lower triangle with the diagonal of N in compressed columns (zero-based, rows ascending
// within a column): the very numbers the compact form reads (N(i, j) for j ≤ i), so all solvers
// see the same matrix even where N's two triangles differ in the last bit. Read as the upper
// triangle by rows, the same arrays give row j's entries N(i, j), i ≥ j.
struct LowerColumns {
  std::uint32_t n = 0;
  std::vector<std::int32_t> columnStart;  // n + 1 offsets
  std::vector<std::int32_t> rowIndex;
  std::vector<double> values;
};
LowerColumns ToLowerColumns(const SparseMatrix& N);

// Compact storage of a symmetric positive definite band matrix of order n and half-bandwidth
// width (rows near the top are shorter), for timing the compact routines on profiles of known
// shape. Diagonally dominant, so the factorisation never meets a small pivot.
struct BandSystem {
  std::vector<std::uint32_t> diagPos;
  std::vector<double> values;
};
BandSystem BuildBandSystem(std::uint32_t n, std::uint32_t width);

// ‖x − reference‖₂ / ‖reference‖₂ (0 when both are zero vectors).
double RelativeDifference(const double* x, const double* reference, std::uint32_t n);
