#pragma once
// Other sparse solvers run on the same N and b as the compact path, for comparison only: Eigen's
// simplicial LDLᵀ with its approximate minimum degree ordering, CHOLMOD's Cholesky with its
// default ordering strategy, and MKL PARDISO through the library's own driver. The benchmarks
// link them; the library never does.

#include <string>
#include <vector>

#include "bench/bench_support.h"

struct PeerResult {
  std::string name;
  // Wall time of ordering, factorisation and one solve; the conversion of N into the peer's
  // input format is not counted.
  double seconds = 0.0;
  std::vector<double> x;
  // Empty when the peer succeeded; otherwise what went wrong.
  std::string error;
};

PeerResult SolveWithEigen(const LowerColumns& N, const std::vector<double>& b);
PeerResult SolveWithCholmod(const LowerColumns& N, const std::vector<double>& b);

// Fills the driver's hand-over area with N's upper triangle by rows (the transpose of the lower
// triangle, so the very same numbers), runs SolveWithPardiso and empties the area again. The
// driver's and the solver library's progress texts on standard output are discarded.
PeerResult SolveWithPardisoDriver(const LowerColumns& N, const std::vector<double>& b);
