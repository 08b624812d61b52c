#pragma once
// For tests and benchmarks: the compact routines on a SparseMatrix N as the compact path of a
// step runs them, and the factorisation on one chosen path of the dispatch, so that the paths
// can be compared with each other and timed on the same profile. Not for hosts.

#include <chrono>
#include <cstdint>
#include <ctime>
#include <vector>

#include "solvers/compact_form.h"
#include "solvers/compact_ldlt.h"
#include "solvers/compact_ldlt_kernels.h"
#include "solvers/solve_dispatch.h"
#include "sparse/sparse_matrix.h"

namespace compact_test_support {

inline const char* PathName(KernelPath path) {
  switch (path) {
    case KernelPath::plain:
      return "plain";
    case KernelPath::portable:
      return "portable";
    case KernelPath::avx2:
      return "avx2";
    default:
      return "avx512";
  }
}

// Every path this processor can run, plain first.
inline std::vector<KernelPath> AvailablePaths() {
  std::vector<KernelPath> paths;
  for (KernelPath path :
       {KernelPath::plain, KernelPath::portable, KernelPath::avx2, KernelPath::avx512}) {
    if (KernelPathAvailable(path)) paths.push_back(path);
  }
  return paths;
}

// Rows 1 to n − 1 of the compact form (diagPos, values) factorised in place on path, as
// COMPACT_FACTORIZE_2 does without its pivot test. Requires every row to have its diagonal slot
// on the vectorised paths, and path to be available.
inline void FactorizeOnPath(KernelPath path, const std::vector<std::uint32_t>& diagPos,
                            std::vector<double>& values) {
  const std::int32_t n = static_cast<std::int32_t>(diagPos.size());
  std::vector<double*> rows(diagPos.size());
  std::vector<std::int32_t> first(diagPos.size(), 0);
  for (std::int32_t i = 0; i < n; ++i) {
    rows[i] = values.data() + diagPos[i] - 1;
    if (i > 0) first[i] = static_cast<std::int32_t>(diagPos[i - 1] - diagPos[i] + i + 1);
  }
  std::vector<double> g(diagPos.size() * FactorizeBlockRowsOf(path));
  PivotExtremes extremes{0.0, 1.7976931348623157e308, 1, 1};
  FactorizeRowBlocks(n, rows.data(), first.data(), g.data(), extremes, path);
}

// COMPACT_FACTORIZE_2 on N's compact form, timed without the build of the form.
struct CompactFactorisation {
  bool built = false;                  // N has a compact form
  std::vector<std::uint32_t> diagPos;  // its diagonal positions
  std::int32_t flag = 0;               // the routine's status flag
  double seconds = 0.0;                // the factorisation alone
  double cpuSeconds = 0.0;             // its processor time
};

// Processor time of the calling thread, seconds.
inline double ThreadCpuSeconds() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

inline CompactFactorisation FactorizeCompactForm(const SparseMatrix& N) {
  CompactFactorisation result;
  CompactForm form;
  result.built = BuildCompactForm(N, form);
  if (result.built) {
    const std::int32_t n = static_cast<std::int32_t>(N.RowCount());
    result.diagPos.assign(form.diagonalPositions, form.diagonalPositions + n);
    const auto start = std::chrono::steady_clock::now();
    const double cpuStart = ThreadCpuSeconds();
    COMPACT_FACTORIZE_2(n, form.diagonalPositions, form.values, &result.flag);
    result.seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    result.cpuSeconds = ThreadCpuSeconds() - cpuStart;
  }
  ReleaseCompactForm(form);
  return result;
}

// The compact path's solve of N·x = b: x holds b on entry and the solution on exit; false when
// N has no compact form or the pivot test failed.
inline bool SolveCompactly(const SparseMatrix& N, DenseVector& x) {
  return SolveCompact(N, x);
}

}  // namespace compact_test_support
