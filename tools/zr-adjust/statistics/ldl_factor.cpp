#include "tools/zr-adjust/statistics/ldl_factor.h"

#include <omp.h>
#include <suitesparse/cholmod.h>

#include <cmath>
#include <stdexcept>

namespace zradjust {
namespace {

constexpr std::size_t None = static_cast<std::size_t>(-1);

// The upper triangle of N as CHOLMOD takes it (its pattern alone, or with the values), rows
// ascending; null when it cannot be allocated.
cholmod_sparse* UpperTriangle(const SymmetricSparse& n, bool withValues, cholmod_common& common) {
  std::size_t upperCount = 0;
  for (std::size_t c = 0; c < n.size; ++c)
    for (std::size_t p = n.columnStart[c]; p < n.columnStart[c + 1]; ++p)
      if (n.rowIndex[p] <= c) ++upperCount;
  cholmod_sparse* upper =
      cholmod_l_allocate_sparse(n.size, n.size, upperCount, true, true, 1,
                                withValues ? CHOLMOD_REAL : CHOLMOD_PATTERN, &common);
  if (upper == nullptr) return nullptr;
  auto* start = static_cast<SuiteSparse_long*>(upper->p);
  auto* rows = static_cast<SuiteSparse_long*>(upper->i);
  auto* values = static_cast<double*>(upper->x);
  std::size_t written = 0;
  for (std::size_t c = 0; c < n.size; ++c) {
    start[c] = static_cast<SuiteSparse_long>(written);
    for (std::size_t p = n.columnStart[c]; p < n.columnStart[c + 1]; ++p) {
      if (n.rowIndex[p] > c) continue;
      if (withValues) values[written] = n.value[p];
      rows[written++] = static_cast<SuiteSparse_long>(n.rowIndex[p]);
    }
  }
  start[n.size] = static_cast<SuiteSparse_long>(written);
  return upper;
}

// The fill-reducing order of CHOLMOD's analysis on N's pattern: it tries approximate minimum
// degree and, where that fills much, nested dissection, and keeps the better. On the generated
// 3D networks of 50,000 points its order leaves a fifth fewer entries in L than minimum degree
// alone, which the factorisation and the selected inverse both pay for.
std::vector<std::size_t> FillReducingOrder(const SymmetricSparse& n) {
  std::vector<std::size_t> order(n.size);
  if (n.size == 0) return order;
  cholmod_common common;
  cholmod_l_start(&common);
  common.supernodal = CHOLMOD_SIMPLICIAL;
  common.print = 0;
  cholmod_sparse* pattern = UpperTriangle(n, false, common);
  cholmod_factor* symbolic = pattern != nullptr ? cholmod_l_analyze(pattern, &common) : nullptr;
  const bool ordered = symbolic != nullptr && common.status == CHOLMOD_OK;
  if (ordered) {
    const auto* permutation = static_cast<const SuiteSparse_long*>(symbolic->Perm);
    for (std::size_t k = 0; k < n.size; ++k)
      order[k] = static_cast<std::size_t>(permutation[k]);
  }
  cholmod_l_free_factor(&symbolic, &common);
  cholmod_l_free_sparse(&pattern, &common);
  cholmod_l_finish(&common);
  if (!ordered) throw std::runtime_error("the fill-reducing ordering failed");
  return order;
}

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

// Whether the rows of every column of L below any of its rows i are all in column i as well.
// It suffices to look at each column's first row (its parent in the elimination tree): if the
// rest of column j lies in column parent(j), the rest of the closure follows up the tree. Each
// column is marked once and compared with each of its children once.
bool PatternIsClosed(const LdlFactor& f) {
  std::vector<std::size_t> childStart(f.size + 1, 0), children(f.size), mark(f.size, None);
  for (std::size_t j = 0; j < f.size; ++j)
    if (f.columnStart[j] < f.columnStart[j + 1]) ++childStart[f.rowIndex[f.columnStart[j]] + 1];
  for (std::size_t i = 0; i < f.size; ++i)
    childStart[i + 1] += childStart[i];
  std::vector<std::size_t> next(childStart.begin(), childStart.end() - 1);
  for (std::size_t j = 0; j < f.size; ++j)
    if (f.columnStart[j] < f.columnStart[j + 1]) children[next[f.rowIndex[f.columnStart[j]]]++] = j;
  for (std::size_t i = 0; i < f.size; ++i) {
    for (std::size_t p = f.columnStart[i]; p < f.columnStart[i + 1]; ++p)
      mark[f.rowIndex[p]] = i;
    for (std::size_t c = childStart[i]; c < childStart[i + 1]; ++c) {
      const std::size_t j = children[c];
      for (std::size_t p = f.columnStart[j] + 1; p < f.columnStart[j + 1]; ++p)
        if (mark[f.rowIndex[p]] != i) return false;
    }
  }
  return true;
}

// Takes a simplicial, packed LDLᵀ factor of P·N·Pᵀ (diagonal first in each column, holding D)
// into f; false, leaving f unusable, when a pivot is weak by the elimination's own rule, an
// entry is not finite, or the layout or the pattern is not what the selected inverse needs.
bool TakeFactor(const cholmod_factor& l, const SymmetricSparse& n, double relativeTolerance,
                LdlFactor& f) {
  const auto* permutation = static_cast<const SuiteSparse_long*>(l.Perm);
  const auto* start = static_cast<const SuiteSparse_long*>(l.p);
  const auto* count = static_cast<const SuiteSparse_long*>(l.nz);
  const auto* rows = static_cast<const SuiteSparse_long*>(l.i);
  const auto* values = static_cast<const double*>(l.x);
  const std::size_t size = n.size;
  f.size = size;
  f.order.resize(size);
  f.positionOf.resize(size);
  for (std::size_t k = 0; k < size; ++k) {
    f.order[k] = static_cast<std::size_t>(permutation[k]);
    f.positionOf[f.order[k]] = k;
  }
  std::size_t entryCount = 0;
  for (std::size_t k = 0; k < size; ++k)
    entryCount += static_cast<std::size_t>(count[k]);
  f.columnStart.assign(1, 0);
  f.rowIndex.clear();
  f.value.clear();
  f.rowIndex.reserve(entryCount);  // the diagonal entries are left out: at most this many
  f.value.reserve(entryCount);
  f.diagonal.assign(size, 0.0);
  f.dropped.assign(size, false);
  for (std::size_t k = 0; k < size; ++k) {
    const std::size_t column = f.order[k];
    double ownDiagonal = 0.0;  // summed as the elimination sums it
    for (std::size_t p = n.columnStart[column]; p < n.columnStart[column + 1]; ++p)
      if (n.rowIndex[p] == column) ownDiagonal += n.value[p];
    const auto first = static_cast<std::size_t>(start[k]);
    const std::size_t end = first + static_cast<std::size_t>(count[k]);
    if (end == first || static_cast<std::size_t>(rows[first]) != k) return false;
    const double pivot = values[first];
    if (!(pivot > relativeTolerance * ownDiagonal) || !std::isfinite(pivot) || ownDiagonal <= 0.0)
      return false;
    f.diagonal[k] = pivot;
    std::size_t previous = k;
    for (std::size_t p = first + 1; p < end; ++p) {
      const auto row = static_cast<std::size_t>(rows[p]);
      if (row <= previous || row >= size || !std::isfinite(values[p])) return false;
      f.rowIndex.push_back(row);
      f.value.push_back(values[p]);
      previous = row;
    }
    f.columnStart.push_back(f.rowIndex.size());
  }
  return PatternIsClosed(f);
}

// Keeps the dense kernels of the supernodal factorisation on the calling thread while it lives.
// The factorisation makes hundreds of thousands of small BLAS calls; a BLAS that starts an
// OpenMP team for each of them spends far more on starting and joining the teams than on the
// arithmetic (on the 100,000-point network: a minute per factorisation instead of 4 s on two
// busy cores), and a descheduled team member stalls every call. The host's own setting is
// restored afterwards.
class OneThreadForTheDenseKernels {
 public:
  OneThreadForTheDenseKernels() : previous(omp_get_max_threads()) { omp_set_num_threads(1); }
  ~OneThreadForTheDenseKernels() { omp_set_num_threads(previous); }
  OneThreadForTheDenseKernels(const OneThreadForTheDenseKernels&) = delete;
  OneThreadForTheDenseKernels& operator=(const OneThreadForTheDenseKernels&) = delete;

 private:
  int previous;
};

// The blocked factorisation: CHOLMOD's supernodal LLᵀ (dense kernels from the system's BLAS and
// LAPACK) with the same analysis as FillReducingOrder, turned into simplicial LDLᵀ. It does not
// drop anything, so it is only used when it succeeds and no pivot is weak; false otherwise.
//
// Its pattern is the supernodal one: each column holds its supernode's rows from the column
// down, and a supernode's rows below its own columns are all in its parent supernode (the one
// holding the first of them), so the pattern is closed like the elimination's own, with
// explicit zeros where supernodes were merged. PatternIsClosed checks it anyway: the selected
// inverse would otherwise read entries that are not there.
bool FactoriseSupernodal(const SymmetricSparse& n, double relativeTolerance, LdlFactor& f) {
  const OneThreadForTheDenseKernels oneThread;
  cholmod_common common;
  cholmod_l_start(&common);
  common.supernodal = CHOLMOD_SUPERNODAL;
  common.print = 0;
  cholmod_sparse* upper = UpperTriangle(n, true, common);
  cholmod_factor* l = upper != nullptr ? cholmod_l_analyze(upper, &common) : nullptr;
  bool factorised = l != nullptr && common.status == CHOLMOD_OK;
  factorised = factorised && cholmod_l_factorize(upper, l, &common) &&
               common.status == CHOLMOD_OK && l->minor == n.size;
  // To simplicial LDLᵀ, packed, columns in order: D = diag(L)², each column divided by its
  // diagonal entry.
  factorised = factorised &&
               cholmod_l_change_factor(CHOLMOD_REAL, false, false, true, true, l, &common) &&
               common.status == CHOLMOD_OK;
  const bool taken = factorised && TakeFactor(*l, n, relativeTolerance, f);
  cholmod_l_free_factor(&l, &common);
  cholmod_l_free_sparse(&upper, &common);
  cholmod_l_finish(&common);
  return taken;
}

}  // namespace

LdlFactor FactoriseRowByRow(const SymmetricSparse& n, double relativeTolerance) {
  LdlFactor f;
  const std::size_t size = n.size;
  f.size = size;
  f.order = FillReducingOrder(n);
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

LdlFactor FactoriseDroppingWeakPivots(const SymmetricSparse& n, double relativeTolerance) {
  LdlFactor f;
  if (n.size > 0 && FactoriseSupernodal(n, relativeTolerance, f)) return f;
  return FactoriseRowByRow(n, relativeTolerance);
}

std::vector<double> SolveWithFactor(const LdlFactor& f, const std::vector<double>& b) {
  std::vector<double> z(f.size);
  for (std::size_t k = 0; k < f.size; ++k)
    z[k] = b[f.order[k]];
  for (std::size_t k = 0; k < f.size; ++k)  // L·z = P·b, column by column
    for (std::size_t p = f.columnStart[k]; p < f.columnStart[k + 1]; ++p)
      z[f.rowIndex[p]] -= f.value[p] * z[k];
  for (std::size_t k = 0; k < f.size; ++k)  // D
    z[k] = f.dropped[k] ? 0.0 : z[k] / f.diagonal[k];
  for (std::size_t k = f.size; k-- > 0;)  // Lᵀ·z
    for (std::size_t p = f.columnStart[k]; p < f.columnStart[k + 1]; ++p)
      z[k] -= f.value[p] * z[f.rowIndex[p]];
  std::vector<double> x(f.size);
  for (std::size_t k = 0; k < f.size; ++k)
    x[f.order[k]] = f.dropped[k] ? 0.0 : z[k];
  return x;
}

}  // namespace zradjust
