#pragma once
// Other sparse solvers run on the same N and b as the compact path, for comparison only: Eigen's
// simplicial LDLᵀ with its approximate minimum degree ordering (one thread), CHOLMOD's Cholesky
// with its default ordering strategy and an optimised BLAS (OpenBLAS), and MKL PARDISO through
// the library's own driver. The benchmarks
// link them; the library never does.

#include <string>
#include <vector>

#include "bench/bench_support.h"

struct PeerResult {
  std::string name;
  // Wall time of ordering, factorisation and one solve; the conversion of N into the peer's
  // input format is not counted.
  double seconds = 0.0;
  // Processor time of the calling thread for the same: all of the work when the peer runs on
  // one thread, only a part of it otherwise.
  double cpuSeconds = 0.0;
  std::vector<double> x;
  // Empty when the peer succeeded; otherwise what went wrong.
  std::string error;
  // The peer never uses more than one thread, whatever SetPeerThreads says.
  bool singleThreaded = false;
};

// Threads the peers may use from now on: CHOLMOD's BLAS (OpenBLAS, linked into the benchmark
// ahead of the system's BLAS) and PARDISO's OpenMP team. 0 means every processor of the
// machine. Returns the count now in force.
int SetPeerThreads(int threads);

PeerResult SolveWithEigen(const LowerColumns& N, const std::vector<double>& b);
PeerResult SolveWithCholmod(const LowerColumns& N, const std::vector<double>& b);

// Fills the driver's hand-over area with N's upper triangle by rows (the transpose of the lower
// triangle, so the very same numbers), runs SolveWithPardiso and empties the area again. The
// driver's and the solver library's progress texts on standard output are discarded.
PeerResult SolveWithPardisoDriver(const LowerColumns& N, const std::vector<double>& b);
