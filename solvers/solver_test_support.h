#pragma once
// Shared by the solver tests: a dense reference solve, random test matrices, bit comparison.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <utility>
#include <vector>

#include "sparse/sparse_matrix.h"
#include "sparse/sparse_matrix_writers.h"

namespace solver_test {

using Dense = std::vector<std::vector<double>>;
inline constexpr double eps = std::numeric_limits<double>::epsilon();

// Gaussian elimination with partial pivoting: the same solution reached another way.
inline std::vector<double> DenseSolve(Dense m, std::vector<double> b) {
  const std::size_t n = b.size();
  for (std::size_t k = 0; k < n; ++k) {
    std::size_t p = k;
    for (std::size_t i = k + 1; i < n; ++i)
      if (std::fabs(m[i][k]) > std::fabs(m[p][k])) p = i;
    std::swap(m[k], m[p]);
    std::swap(b[k], b[p]);
    for (std::size_t i = k + 1; i < n; ++i) {
      const double f = m[i][k] / m[k][k];
      for (std::size_t j = k; j < n; ++j)
        m[i][j] -= f * m[k][j];
      b[i] -= f * b[k];
    }
  }
  for (std::size_t i = n; i-- > 0;) {
    for (std::size_t j = i + 1; j < n; ++j)
      b[i] -= m[i][j] * b[j];
    b[i] /= m[i][i];
  }
  return b;
}

// Diagonally dominant; row i starts up to band columns left of its diagonal, and about a third
// of the slots inside the profile (never its first) are zero.
inline Dense RandomPositiveDefinite(int n, int band, std::mt19937& rng) {
  std::uniform_real_distribution<double> value(-1.0, 1.0);
  Dense m(n, std::vector<double>(n, 0.0));
  for (int i = 0; i < n; ++i) {
    m[i][i] = 2.0 * band + 1.0 + value(rng);
    const int first = std::max(0, i - static_cast<int>(rng() % (band + 1)));
    for (int j = first; j < i; ++j)
      if (j == first || rng() % 3 != 0) m[i][j] = m[j][i] = value(rng);
  }
  return m;
}

inline SparseMatrix ToSparse(const Dense& m) {
  SparseMatrix N(m.size(), m.size());
  for (std::uint32_t i = 0; i < m.size(); ++i)
    for (std::uint32_t j = 0; j < m[i].size(); ++j)
      SetElement(N, i, j, m[i][j]);
  return N;
}

// Identical bits element by element. Any NaN matches any NaN: which operand's NaN a product
// passes on is the processor's choice, not part of the order of operations.
inline testing::AssertionResult SameBits(const std::vector<double>& a,
                                         const std::vector<double>& b) {
  if (a.size() != b.size()) return testing::AssertionFailure() << "lengths differ";
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (!(std::isnan(a[i]) && std::isnan(b[i])) && std::memcmp(&a[i], &b[i], sizeof(double)) != 0)
      return testing::AssertionFailure() << "element " << i << ": " << a[i] << " vs " << b[i];
  }
  return testing::AssertionSuccess();
}

}  // namespace solver_test
