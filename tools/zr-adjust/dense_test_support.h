#pragma once
// Dense references for the tests, by plain loops that share nothing with the code under test.

#include <cstddef>
#include <vector>

namespace zradjust::testing {

using Dense = std::vector<std::vector<double>>;

// The inverse of a symmetric positive definite matrix by Gauss-Jordan without pivoting.
inline Dense DenseInverse(Dense a) {
  const std::size_t n = a.size();
  Dense inverse(n, std::vector<double>(n, 0.0));
  for (std::size_t i = 0; i < n; ++i)
    inverse[i][i] = 1.0;
  for (std::size_t i = 0; i < n; ++i) {
    const double pivot = a[i][i];
    for (std::size_t j = 0; j < n; ++j) {
      a[i][j] /= pivot;
      inverse[i][j] /= pivot;
    }
    for (std::size_t r = 0; r < n; ++r)
      if (r != i) {
        const double f = a[r][i];
        for (std::size_t j = 0; j < n; ++j) {
          a[r][j] -= f * a[i][j];
          inverse[r][j] -= f * inverse[i][j];
        }
      }
  }
  return inverse;
}

}  // namespace zradjust::testing
