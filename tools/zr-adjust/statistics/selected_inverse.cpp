#include "tools/zr-adjust/statistics/selected_inverse.h"

#include <algorithm>
#include <stdexcept>

namespace zradjust {

SelectedInverse::SelectedInverse(const LdlFactor& f)
    : factor(f), lower(f.value.size(), 0.0), diagonal(f.size, 0.0) {
  constexpr std::ptrdiff_t absent = -1;
  std::vector<std::ptrdiff_t> positionInColumn(f.size, absent);
  std::vector<double> z;
  for (std::size_t j = f.size; j-- > 0;) {
    if (f.dropped[j]) continue;
    const std::size_t begin = f.columnStart[j], end = f.columnStart[j + 1];
    const std::size_t count = end - begin;
    for (std::size_t p = 0; p < count; ++p)
      positionInColumn[f.rowIndex[begin + p]] = static_cast<std::ptrdiff_t>(p);
    // z = −Z(r, r)·l over the rows r of column j of L, with Z(r, r) already known because
    // every row r is eliminated after j and the pattern is closed.
    z.assign(count, 0.0);
    const std::size_t lastRow = count > 0 ? f.rowIndex[end - 1] : 0;
    for (std::size_t q = 0; q < count; ++q) {
      const std::size_t k = f.rowIndex[begin + q];
      const double lq = f.value[begin + q];
      z[q] -= diagonal[k] * lq;
      for (std::size_t s = f.columnStart[k]; s < f.columnStart[k + 1]; ++s) {
        if (f.rowIndex[s] > lastRow) break;  // rows ascend: nothing of column j below here
        const std::ptrdiff_t p = positionInColumn[f.rowIndex[s]];
        if (p == absent) continue;
        // Z(i, k) with i = r_p > k = r_q serves both z_p (times l_q) and z_q (times l_p).
        z[static_cast<std::size_t>(p)] -= lower[s] * lq;
        z[q] -= lower[s] * f.value[begin + static_cast<std::size_t>(p)];
      }
    }
    double diagonalEntry = 1.0 / f.diagonal[j];
    for (std::size_t p = 0; p < count; ++p) {
      lower[begin + p] = z[p];
      diagonalEntry -= f.value[begin + p] * z[p];
      positionInColumn[f.rowIndex[begin + p]] = absent;
    }
    diagonal[j] = diagonalEntry;
  }
}

double SelectedInverse::Entry(std::size_t a, std::size_t b) const {
  std::size_t i = factor.positionOf[a], j = factor.positionOf[b];
  if (i == j) return diagonal[i];
  if (i < j) std::swap(i, j);
  if (factor.dropped[i] || factor.dropped[j]) return 0.0;
  const auto first = factor.rowIndex.begin() + static_cast<std::ptrdiff_t>(factor.columnStart[j]);
  const auto last =
      factor.rowIndex.begin() + static_cast<std::ptrdiff_t>(factor.columnStart[j + 1]);
  const auto found = std::lower_bound(first, last, i);
  if (found == last || *found != i)
    throw std::logic_error("cofactor requested outside the pattern of the normal equations");
  return lower[static_cast<std::size_t>(found - factor.rowIndex.begin())];
}

}  // namespace zradjust
