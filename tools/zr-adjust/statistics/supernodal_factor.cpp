#include "tools/zr-adjust/statistics/supernodal_factor.h"

#include <suitesparse/cholmod.h>

#include <cmath>
#include <stdexcept>

#include "tools/zr-adjust/statistics/cholmod_input.h"
#include "tools/zr-adjust/statistics/supernodal_cholesky.h"

namespace zradjust {
namespace {

void SetOrder(const SuiteSparse_long* permutation, SupernodalFactor& f) {
  f.order.resize(f.size);
  f.positionOf.resize(f.size);
  for (std::size_t k = 0; k < f.size; ++k) {
    f.order[k] = static_cast<std::size_t>(permutation[k]);
    f.positionOf[f.order[k]] = k;
  }
}

void SetSupernodeOf(SupernodalFactor& f) {
  f.supernodeOf.resize(f.size);
  for (std::size_t s = 0; s < f.supernodeCount; ++s)
    for (std::size_t k = f.firstColumn[s]; k < f.firstColumn[s + 1]; ++k)
      f.supernodeOf[k] = s;
}

// Whether each supernode's rows below its own columns are rows of its parent (the supernode of
// the first of them). Closure of the whole pattern follows up the tree.
bool IsClosed(const SupernodalFactor& f) {
  for (std::size_t s = 0; s < f.supernodeCount; ++s) {
    const std::size_t c = f.ColumnCount(s), r = f.RowCount(s);
    const std::size_t* rows = f.rowIndex.data() + f.rowStart[s];
    for (std::size_t j = 0; j < c; ++j)
      if (rows[j] != f.firstColumn[s] + j) return false;
    if (r == c) continue;
    const std::size_t parent = f.supernodeOf[rows[c]];
    if (parent <= s) return false;
    const std::size_t* parentRows = f.rowIndex.data() + f.rowStart[parent];
    std::size_t p = rows[c] - f.firstColumn[parent];
    const std::size_t parentCount = f.RowCount(parent);
    for (std::size_t i = c; i < r; ++i) {
      if (i > c && rows[i] <= rows[i - 1]) return false;
      while (p < parentCount && parentRows[p] < rows[i])
        ++p;
      if (p == parentCount || parentRows[p] != rows[i]) return false;
    }
  }
  return true;
}

// Whether no pivot of the blocked factor is weak by the elimination's rule (its square, the
// pivot of L·D·Lᵀ, not above relativeTolerance times the column's own diagonal element of N)
// and every entry is finite.
bool NoPivotIsWeak(const SupernodalFactor& f, const SymmetricSparse& n, double relativeTolerance) {
  for (std::size_t s = 0; s < f.supernodeCount; ++s) {
    const std::size_t c = f.ColumnCount(s), r = f.RowCount(s);
    const double* block = f.Block(s);
    for (std::size_t j = 0; j < c; ++j) {
      const std::size_t column = f.order[f.firstColumn[s] + j];
      double ownDiagonal = 0.0;  // summed as the elimination sums it
      for (std::size_t p = n.columnStart[column]; p < n.columnStart[column + 1]; ++p)
        if (n.rowIndex[p] == column) ownDiagonal += n.value[p];
      const double pivot = block[j * r + j] * block[j * r + j];
      if (!(pivot > relativeTolerance * ownDiagonal) || !std::isfinite(pivot) || ownDiagonal <= 0.0)
        return false;
      for (std::size_t i = j; i < r; ++i)
        if (!std::isfinite(block[j * r + i])) return false;
    }
  }
  return true;
}

// Takes the pattern of CHOLMOD's symbolic supernodal factor: the order, the supernodes and
// their rows, and the block layout.
void TakePattern(const cholmod_factor& l, SupernodalFactor& f) {
  f.size = l.n;
  SetOrder(static_cast<const SuiteSparse_long*>(l.Perm), f);
  f.dropped.assign(f.size, false);
  f.supernodeCount = l.nsuper;
  const auto* super = static_cast<const SuiteSparse_long*>(l.super);
  const auto* rowPointer = static_cast<const SuiteSparse_long*>(l.pi);
  const auto* valuePointer = static_cast<const SuiteSparse_long*>(l.px);
  const auto* rows = static_cast<const SuiteSparse_long*>(l.s);
  f.firstColumn.assign(super, super + l.nsuper + 1);
  f.rowStart.assign(rowPointer, rowPointer + l.nsuper + 1);
  f.valueStart.assign(valuePointer, valuePointer + l.nsuper + 1);
  f.rowIndex.assign(rows, rows + f.rowStart[l.nsuper]);
  SetSupernodeOf(f);
}

// The blocked factorisation: the supernodal pattern of CHOLMOD's analysis (in the given order,
// or in its own), factorised by FactoriseOnPattern. It does not drop anything, so it is only
// used when it succeeds and no pivot is weak; false otherwise.
bool FactoriseBlocked(const SymmetricSparse& n, double relativeTolerance,
                      const std::vector<std::size_t>& givenOrder, SupernodalFactor& f) {
  CholmodSession session(CHOLMOD_SUPERNODAL);
  cholmod_common& common = session.common;
  cholmod_sparse* upper = UpperTriangle(n, false, common);
  cholmod_factor* l = upper != nullptr ? Analyse(*upper, givenOrder, common) : nullptr;
  const bool analysed = l != nullptr && common.status == CHOLMOD_OK && l->is_super;
  if (analysed) TakePattern(*l, f);
  cholmod_l_free_factor(&l, &common);
  cholmod_l_free_sparse(&upper, &common);
  return analysed && IsClosed(f) && FactoriseOnPattern(n, f) &&
         NoPivotIsWeak(f, n, relativeTolerance);
}

}  // namespace

SupernodeTree BuildSupernodeTree(const SupernodalFactor& f) {
  SupernodeTree tree;
  const std::size_t count = f.supernodeCount;
  tree.parent.assign(count, SupernodeTree::none);
  tree.childStart.assign(count + 1, 0);
  tree.work.assign(count, 0.0);
  for (std::size_t s = 0; s < count; ++s) {
    const double c = static_cast<double>(f.ColumnCount(s)), r = static_cast<double>(f.RowCount(s));
    tree.work[s] += r * r * c;
    if (f.RowCount(s) > f.ColumnCount(s)) {
      const std::size_t parent = f.supernodeOf[f.rowIndex[f.rowStart[s] + f.ColumnCount(s)]];
      tree.parent[s] = parent;
      tree.work[parent] += tree.work[s];  // parents come after their children
      ++tree.childStart[parent + 1];
    } else {
      tree.roots.push_back(s);
    }
  }
  for (std::size_t s = 0; s < count; ++s)
    tree.childStart[s + 1] += tree.childStart[s];
  tree.children.resize(tree.childStart[count]);
  std::vector<std::size_t> next(tree.childStart.begin(), tree.childStart.end() - 1);
  for (std::size_t s = 0; s < count; ++s)
    if (tree.parent[s] != SupernodeTree::none) tree.children[next[tree.parent[s]]++] = s;
  return tree;
}

SupernodalFactor FromRowByRow(const LdlFactor& e) {
  SupernodalFactor f;
  f.size = e.size;
  f.order = e.order;
  f.positionOf = e.positionOf;
  f.dropped = e.dropped;
  auto count = [&](std::size_t k) { return e.columnStart[k + 1] - e.columnStart[k]; };
  // Column k continues a supernode in column k + 1 when its rows are k + 1 followed by those of
  // column k + 1 (closure makes equal counts enough).
  auto continuesInto = [&](std::size_t k) {
    return k + 1 < e.size && !e.dropped[k] && !e.dropped[k + 1] && count(k) > 0 &&
           e.rowIndex[e.columnStart[k]] == k + 1 && count(k) == count(k + 1) + 1;
  };
  f.firstColumn.assign(1, 0);
  f.rowStart.assign(1, 0);
  f.valueStart.assign(1, 0);
  for (std::size_t first = 0; first < e.size;) {
    std::size_t last = first;
    while (continuesInto(last))
      ++last;
    const std::size_t c = last - first + 1, r = c + count(last);
    for (std::size_t k = first; k <= last; ++k)
      f.rowIndex.push_back(k);
    f.rowIndex.insert(f.rowIndex.end(),
                      e.rowIndex.begin() + static_cast<std::ptrdiff_t>(e.columnStart[last]),
                      e.rowIndex.begin() + static_cast<std::ptrdiff_t>(e.columnStart[last + 1]));
    f.firstColumn.push_back(last + 1);
    f.rowStart.push_back(f.rowIndex.size());
    f.valueStart.push_back(f.valueStart.back() + r * c);
    first = last + 1;
  }
  f.supernodeCount = f.firstColumn.size() - 1;
  SetSupernodeOf(f);
  f.value = std::shared_ptr<double[]>(new double[f.valueStart.back()]());
  for (std::size_t s = 0; s < f.supernodeCount; ++s) {
    const std::size_t r = f.RowCount(s);
    double* block = f.Block(s);
    for (std::size_t j = 0; j < f.ColumnCount(s); ++j) {
      // Column t of L·D^½: its pivot's root, then its entries below (rows t+1 .. of the block).
      const std::size_t t = f.firstColumn[s] + j;
      const double root = e.dropped[t] ? 0.0 : std::sqrt(e.diagonal[t]);
      block[j * r + j] = root;
      for (std::size_t p = e.columnStart[t]; p < e.columnStart[t + 1]; ++p)
        block[j * r + j + 1 + (p - e.columnStart[t])] = e.value[p] * root;
    }
  }
  return f;
}

SupernodalFactor FactoriseDroppingWeakPivots(const SymmetricSparse& n, double relativeTolerance,
                                             const std::vector<std::size_t>& givenOrder) {
  SupernodalFactor f;
  if (n.size > 0 && FactoriseBlocked(n, relativeTolerance, givenOrder, f)) return f;
  return FromRowByRow(FactoriseRowByRow(n, relativeTolerance, givenOrder));
}

std::vector<double> SolveWithFactor(const SupernodalFactor& f, const std::vector<double>& b) {
  std::vector<double> z(f.size);
  for (std::size_t k = 0; k < f.size; ++k)
    z[k] = b[f.order[k]];
  for (std::size_t s = 0; s < f.supernodeCount; ++s) {  // L·z = P·b, supernode by supernode
    const std::size_t c = f.ColumnCount(s), r = f.RowCount(s), first = f.firstColumn[s];
    const double* block = f.Block(s);
    const std::size_t* rows = f.rowIndex.data() + f.rowStart[s];
    for (std::size_t j = 0; j < c; ++j) {
      const std::size_t k = first + j;
      if (f.dropped[k]) {
        z[k] = 0.0;
        continue;
      }
      z[k] /= block[j * r + j];
      for (std::size_t i = j + 1; i < r; ++i)  // the rest of column k: z −= L(:, k)·z_k
        z[rows[i]] -= block[j * r + i] * z[k];
    }
  }
  for (std::size_t s = f.supernodeCount; s-- > 0;) {  // Lᵀ·z
    const std::size_t c = f.ColumnCount(s), r = f.RowCount(s), first = f.firstColumn[s];
    const double* block = f.Block(s);
    const std::size_t* rows = f.rowIndex.data() + f.rowStart[s];
    for (std::size_t j = c; j-- > 0;) {
      const std::size_t k = first + j;
      if (f.dropped[k]) continue;
      for (std::size_t i = j + 1; i < r; ++i)  // z_k −= L(:, k)ᵀ·z below k
        z[k] -= block[j * r + i] * z[rows[i]];
      z[k] /= block[j * r + j];
    }
  }
  std::vector<double> x(f.size);
  for (std::size_t k = 0; k < f.size; ++k)
    x[f.order[k]] = f.dropped[k] ? 0.0 : z[k];
  return x;
}

}  // namespace zradjust
