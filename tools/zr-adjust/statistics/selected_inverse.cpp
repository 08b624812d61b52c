#include "tools/zr-adjust/statistics/selected_inverse.h"

#include <algorithm>
#include <stdexcept>

namespace zradjust {
namespace {

constexpr std::ptrdiff_t absent = -1;

std::size_t CountOf(const LdlFactor& f, std::size_t k) {
  return f.columnStart[k + 1] - f.columnStart[k];
}

// Column k continues a supernode in column k + 1 when its pattern is k + 1 followed by that of
// column k + 1 (closure makes equal counts enough).
bool ContinuesInto(const LdlFactor& f, std::size_t k) {
  return k + 1 < f.size && !f.dropped[k] && !f.dropped[k + 1] && CountOf(f, k) > 0 &&
         f.rowIndex[f.columnStart[k]] == k + 1 && CountOf(f, k) == CountOf(f, k + 1) + 1;
}

}  // namespace

// The columns are taken a supernode at a time (consecutive columns first .. last whose
// patterns below last are the same rows R). Z(R, R), which every column of the supernode
// needs, is gathered once into a dense block, and each column's Z(R, t) is then a dense
// product with it; within the supernode the entries sit at known offsets. For a 3D network
// the coordinates of one point form such a supernode at least, which saves two of three
// gathers and makes the products contiguous.
SelectedInverse::SelectedInverse(const LdlFactor& f)
    : factor(f), lower(f.value.size(), 0.0), diagonal(f.size, 0.0) {
  std::vector<std::ptrdiff_t> positionInBelow(f.size, absent);
  std::vector<double> block, z;
  for (std::size_t last = f.size; last-- > 0;) {
    std::size_t first = last;
    while (first > 0 && ContinuesInto(f, first - 1))
      --first;
    if (f.dropped[last]) continue;  // a dropped column is a supernode of its own
    // R: the rows of column last.
    const std::size_t rBegin = f.columnStart[last], m = CountOf(f, last);
    for (std::size_t b = 0; b < m; ++b)
      positionInBelow[f.rowIndex[rBegin + b]] = static_cast<std::ptrdiff_t>(b);
    const std::size_t lastRow = m > 0 ? f.rowIndex[rBegin + m - 1] : 0;
    // Z(R, R), dense and symmetric, from the columns of R (all eliminated later).
    block.assign(m * m, 0.0);
    for (std::size_t a = 0; a < m; ++a) {
      const std::size_t k = f.rowIndex[rBegin + a];
      block[a * m + a] = diagonal[k];
      for (std::size_t s = f.columnStart[k]; s < f.columnStart[k + 1]; ++s) {
        if (f.rowIndex[s] > lastRow) break;  // rows ascend
        const std::ptrdiff_t b = positionInBelow[f.rowIndex[s]];
        if (b == absent) continue;
        block[a * m + static_cast<std::size_t>(b)] = lower[s];
        block[static_cast<std::size_t>(b) * m + a] = lower[s];
      }
    }
    for (std::size_t b = 0; b < m; ++b)
      positionInBelow[f.rowIndex[rBegin + b]] = absent;
    for (std::size_t t = last + 1; t-- > first;) {
      // Column t: rows t+1 .. last (the supernode, w of them), then R.
      const std::size_t begin = f.columnStart[t], w = last - t;
      const double* l = f.value.data() + begin;  // no element needed when the column is empty
      z.assign(w + m, 0.0);
      // z_R = −Z(R, R)·l_R, as a sum of columns of the symmetric block.
      for (std::size_t a = 0; a < m; ++a) {
        const double la = l[w + a];
        const double* column = block.data() + a * m;
        for (std::size_t b = 0; b < m; ++b)
          z[w + b] -= column[b] * la;
      }
      // The supernode's own columns u = t+1 .. last: Z(R, u), Z(u', u) and Z(u, u).
      for (std::size_t i = 0; i < w; ++i) {
        const std::size_t u = t + 1 + i;
        const std::size_t uBegin = f.columnStart[u], uInside = last - u;
        const double lu = l[i];
        z[i] -= diagonal[u] * lu;
        for (std::size_t i2 = i + 1; i2 < w; ++i2) {  // Z(t+1+i2, u), stored in column u
          const double zu = lower[uBegin + (i2 - i - 1)];
          z[i2] -= zu * lu;
          z[i] -= zu * l[i2];
        }
        for (std::size_t b = 0; b < m; ++b) {  // Z(R_b, u)
          const double zu = lower[uBegin + uInside + b];
          z[w + b] -= zu * lu;
          z[i] -= zu * l[w + b];
        }
      }
      double diagonalEntry = 1.0 / f.diagonal[t];
      for (std::size_t p = 0; p < w + m; ++p) {
        lower[begin + p] = z[p];
        diagonalEntry -= l[p] * z[p];
      }
      diagonal[t] = diagonalEntry;
    }
    last = first;  // the loop's decrement moves on to the column before the supernode
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
