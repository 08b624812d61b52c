#pragma once
// For tests and benchmarks: the compact factorisation on one chosen path of the dispatch, so
// that the paths can be compared with each other and timed on the same profile. Not for hosts.

#include <cstdint>
#include <vector>

#include "solvers/compact_ldlt_kernels.h"

namespace compact_path_support {

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

}  // namespace compact_path_support
