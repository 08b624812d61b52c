#include "tools/zr-adjust/statistics/ldl_factor.h"

#include <cmath>
#include <stdexcept>

#include "tools/zr-adjust/statistics/cholmod_input.h"

namespace zradjust {
namespace {

constexpr std::size_t None = static_cast<std::size_t>(-1);

// The upper triangle of P·N·Pᵀ, column by column (rows in any order).
SymmetricSparse PermutedUpper(const SymmetricSparse& n, const std::vector<std::size_t>& order,
                              const std::vector<std::size_t>& positionOf) {
  SymmetricSparse upper;
  upper.size = n.size;
  upper.columnStart.assign(1, 0);
  for (std::size_t k = 0; k < n.size; ++k) {
    const std::size_t column = order[k];
    for (std::size_t p = n.columnStart[column]; p < n.columnStart[column + 1]; ++p) {
      const std::size_t i = positionOf[n.rowIndex[p]];
      if (i > k) continue;
      upper.rowIndex.push_back(i);
      upper.value.push_back(n.value[p]);
    }
    upper.columnStart.push_back(upper.rowIndex.size());
  }
  return upper;
}

// The elimination tree and the number of entries of each column of L.
void EliminationTree(const SymmetricSparse& upper, std::vector<std::size_t>& parent,
                     std::vector<std::size_t>& columnCount) {
  const std::size_t size = upper.size;
  std::vector<std::size_t> flag(size);
  parent.assign(size, None);
  columnCount.assign(size, 0);
  for (std::size_t k = 0; k < size; ++k) {
    flag[k] = k;
    // Row k of L: the paths from each entry of column k up the tree to k.
    for (std::size_t p = upper.columnStart[k]; p < upper.columnStart[k + 1]; ++p)
      for (std::size_t i = upper.rowIndex[p]; flag[i] != k; i = parent[i]) {
        if (parent[i] == None) parent[i] = k;
        ++columnCount[i];
        flag[i] = k;
      }
  }
}

// Moves the filled part of every column of L together (dropped rows leave gaps at the ends).
void CompactColumns(const std::vector<std::size_t>& filled, LdlFactor& f) {
  std::size_t write = 0;
  for (std::size_t k = 0; k < f.size; ++k) {
    const std::size_t begin = f.columnStart[k];
    f.columnStart[k] = write;
    for (std::size_t p = begin; p < begin + filled[k]; ++p, ++write) {
      f.rowIndex[write] = f.rowIndex[p];
      f.value[write] = f.value[p];
    }
  }
  f.columnStart[f.size] = write;
  f.rowIndex.resize(write);
  f.value.resize(write);
  f.rowIndex.shrink_to_fit();
  f.value.shrink_to_fit();
}

}  // namespace

LdlFactor FactoriseRowByRow(const SymmetricSparse& n, double relativeTolerance,
                            const std::vector<std::size_t>& givenOrder) {
  LdlFactor f;
  const std::size_t size = n.size;
  f.size = size;
  f.order = AnalysedOrder(n, givenOrder);
  f.positionOf.assign(size, 0);
  for (std::size_t k = 0; k < size; ++k)
    f.positionOf[f.order[k]] = k;
  const SymmetricSparse upper = PermutedUpper(n, f.order, f.positionOf);
  std::vector<std::size_t> parent, columnCount;
  EliminationTree(upper, parent, columnCount);
  f.columnStart.assign(size + 1, 0);
  for (std::size_t k = 0; k < size; ++k)
    f.columnStart[k + 1] = f.columnStart[k] + columnCount[k];
  f.rowIndex.resize(f.columnStart[size]);
  f.value.resize(f.columnStart[size]);
  f.diagonal.assign(size, 0.0);
  f.dropped.assign(size, false);

  std::vector<double> y(size, 0.0);
  std::vector<std::size_t> flag(size), pattern(size), filled(size, 0);
  for (std::size_t k = 0; k < size; ++k) {
    // Scatter column k of the upper triangle into y and find the pattern of row k of L in
    // topological order (pattern[top .. size-1]).
    y[k] = 0.0;
    std::size_t top = size;
    flag[k] = k;
    double ownDiagonal = 0.0;
    for (std::size_t p = upper.columnStart[k]; p < upper.columnStart[k + 1]; ++p) {
      std::size_t i = upper.rowIndex[p];
      y[i] += upper.value[p];
      if (i == k) ownDiagonal += upper.value[p];
      std::size_t length = 0;
      for (; flag[i] != k; i = parent[i]) {
        pattern[length++] = i;
        flag[i] = k;
      }
      while (length > 0)
        pattern[--top] = pattern[--length];
    }
    // Row k of L by a sparse triangular solve; dropped columns contribute nothing, exactly
    // as if they had been removed from the matrix.
    double pivot = y[k];
    y[k] = 0.0;
    const std::size_t firstOfRow = top;
    for (; top < size; ++top) {
      const std::size_t i = pattern[top];
      const double yi = y[i];
      y[i] = 0.0;
      if (f.dropped[i]) continue;
      const std::size_t end = f.columnStart[i] + filled[i];
      for (std::size_t p = f.columnStart[i]; p < end; ++p)
        y[f.rowIndex[p]] -= f.value[p] * yi;  // the rest of row k: y -= L(:, i) · y_i
      const double lki = yi / f.diagonal[i];
      pivot -= lki * yi;
      f.rowIndex[end] = k;
      f.value[end] = lki;
      ++filled[i];
    }
    if (!(pivot > relativeTolerance * ownDiagonal) || !std::isfinite(pivot) || ownDiagonal <= 0.0) {
      // Take row k back out of L: it is the last entry of each column it touched.
      f.dropped[k] = true;
      for (std::size_t t = firstOfRow; t < size; ++t)
        if (!f.dropped[pattern[t]]) --filled[pattern[t]];
      pivot = 0.0;
    }
    f.diagonal[k] = pivot;
  }
  CompactColumns(filled, f);
  return f;
}

}  // namespace zradjust
