#include "bench/peer_solvers.h"

#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstring>

#include <cholmod.h>
#include <omp.h>
#include <Eigen/SparseCholesky>
#include <Eigen/SparseCore>

#include "solvers/compact_test_support.h"
#include "solvers/direct_solver_driver.h"

namespace {

using Clock = std::chrono::steady_clock;

double SecondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

// Sends everything written to standard output, by printf or by a library, to /dev/null until
// the object goes out of scope.
class QuietStandardOutput {
 public:
  QuietStandardOutput() {
    std::fflush(stdout);
    saved = dup(STDOUT_FILENO);
    const int sink = open("/dev/null", O_WRONLY);
    if (saved >= 0 && sink >= 0) {
      dup2(sink, STDOUT_FILENO);
    }
    if (sink >= 0) {
      close(sink);
    }
  }
  ~QuietStandardOutput() {
    std::fflush(stdout);
    if (saved >= 0) {
      dup2(saved, STDOUT_FILENO);
      close(saved);
    }
  }
  QuietStandardOutput(const QuietStandardOutput&) = delete;
  QuietStandardOutput& operator=(const QuietStandardOutput&) = delete;

 private:
  int saved = -1;
};

}  // namespace

// From OpenBLAS, which the benchmark links ahead of the BLAS that CHOLMOD was built against.
extern "C" void openblas_set_num_threads(int threads);

int SetPeerThreads(int threads) {
  const int used = threads > 0 ? threads : omp_get_num_procs();
  openblas_set_num_threads(used);
  omp_set_num_threads(used);
  return used;
}

PeerResult SolveWithEigen(const LowerColumns& N, const std::vector<double>& b) {
  PeerResult result{"Eigen SimplicialLDLT (AMD)", 0.0, 0.0, {}, {}, true};
  using Matrix = Eigen::SparseMatrix<double, Eigen::ColMajor, int>;
  const Eigen::Map<const Matrix> view(N.n, N.n, static_cast<Eigen::Index>(N.values.size()),
                                      N.columnStart.data(), N.rowIndex.data(), N.values.data());
  const Matrix matrix = view;
  const Eigen::Map<const Eigen::VectorXd> rightHandSide(b.data(), N.n);

  const Clock::time_point start = Clock::now();
  const double cpuStart = compact_test_support::ThreadCpuSeconds();
  Eigen::SimplicialLDLT<Matrix, Eigen::Lower, Eigen::AMDOrdering<int>> solver(matrix);
  Eigen::VectorXd x;
  if (solver.info() == Eigen::Success) {
    x = solver.solve(rightHandSide);
  }
  result.seconds = SecondsSince(start);
  result.cpuSeconds = compact_test_support::ThreadCpuSeconds() - cpuStart;
  if (solver.info() != Eigen::Success) {
    result.error = "factorisation failed";
    return result;
  }
  result.x.assign(x.data(), x.data() + x.size());
  return result;
}

PeerResult SolveWithCholmod(const LowerColumns& N, const std::vector<double>& b) {
  PeerResult result{"CHOLMOD (default ordering, OpenBLAS)", 0.0, 0.0, {}, {}};
  cholmod_common common;
  cholmod_start(&common);

  // stype −1: only the lower triangle is stored and read.
  cholmod_sparse* matrix =
      cholmod_allocate_sparse(N.n, N.n, N.values.size(), 1, 1, -1, CHOLMOD_REAL, &common);
  cholmod_dense* rightHandSide = cholmod_allocate_dense(N.n, 1, N.n, CHOLMOD_REAL, &common);
  if (matrix == nullptr || rightHandSide == nullptr) {
    result.error = "allocation failed";
  } else {
    std::memcpy(matrix->p, N.columnStart.data(), N.columnStart.size() * sizeof(int));
    std::memcpy(matrix->i, N.rowIndex.data(), N.rowIndex.size() * sizeof(int));
    std::memcpy(matrix->x, N.values.data(), N.values.size() * sizeof(double));
    std::memcpy(rightHandSide->x, b.data(), N.n * sizeof(double));

    const Clock::time_point start = Clock::now();
    const double cpuStart = compact_test_support::ThreadCpuSeconds();
    cholmod_factor* factor = cholmod_analyze(matrix, &common);
    cholmod_dense* x = nullptr;
    if (factor != nullptr && cholmod_factorize(matrix, factor, &common) &&
        common.status == CHOLMOD_OK) {
      x = cholmod_solve(CHOLMOD_A, factor, rightHandSide, &common);
    }
    result.seconds = SecondsSince(start);
    result.cpuSeconds = compact_test_support::ThreadCpuSeconds() - cpuStart;
    if (x == nullptr) {
      result.error = "failed with status " + std::to_string(common.status);
    } else {
      const double* values = static_cast<const double*>(x->x);
      result.x.assign(values, values + N.n);
      cholmod_free_dense(&x, &common);
    }
    cholmod_free_factor(&factor, &common);
  }
  cholmod_free_dense(&rightHandSide, &common);
  cholmod_free_sparse(&matrix, &common);
  cholmod_finish(&common);
  return result;
}

PeerResult SolveWithPardisoDriver(const LowerColumns& N, const std::vector<double>& b) {
  PeerResult result{"MKL PARDISO (our driver)", 0.0, 0.0, {}, {}};
  // Column j of the lower triangle, rows ascending, is row j of the upper triangle with its
  // columns ascending: exactly the record order the driver requires.
  std::vector<PardisoTriplet> triplets;
  triplets.reserve(N.values.size());
  for (std::uint32_t j = 0; j < N.n; ++j) {
    for (std::int32_t slot = N.columnStart[j]; slot < N.columnStart[j + 1]; ++slot) {
      triplets.push_back({static_cast<std::uint32_t>(N.rowIndex[slot]), j, N.values[slot]});
    }
  }
  std::vector<double> rightHandSide(b.begin(), b.begin() + N.n);
  result.x.assign(N.n, 0.0);

  pardisoTriplets = triplets.data();
  pardisoDimension = static_cast<std::int32_t>(N.n);
  pardisoTripletCount = triplets.size();
  pardisoSolution = result.x.data();
  pardisoRightHandSide = rightHandSide.data();
  const Clock::time_point start = Clock::now();
  const double cpuStart = compact_test_support::ThreadCpuSeconds();
  {
    const QuietStandardOutput quiet;
    SolveWithPardiso();
  }
  result.seconds = SecondsSince(start);
  result.cpuSeconds = compact_test_support::ThreadCpuSeconds() - cpuStart;
  pardisoTriplets = nullptr;
  pardisoDimension = 0;
  pardisoTripletCount = 0;
  pardisoSolution = nullptr;
  pardisoRightHandSide = nullptr;
  // A failing phase is not reported by the driver; it leaves n zeros, which the agreement test
  // of the caller then shows.
  return result;
}
