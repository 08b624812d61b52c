#include "tools/zr-adjust/statistics/selected_inverse.h"

#include <algorithm>
#include <atomic>
#include <stdexcept>
#include <utility>
#include <vector>

#include "tools/zr-adjust/statistics/dense_kernels.h"

namespace zradjust {
namespace {

// A subtree this much smaller than the whole tree (in multiply-adds) is not worth a task of
// its own: its supernodes are done by the thread that reaches it.
constexpr double smallestTaskShare = 1.0 / 256.0;

struct Scratch {
  std::vector<double> below;          // Z(R,R), m × m, lower triangle
  std::vector<double> product;        // Z(R,J), m × c
  std::vector<std::size_t> position;  // per row of R: its place among a parent's rows
};

// Gathers Z(R,R) of supernode s (lower triangle, column-major m × m) from the supernodes that
// hold the rows of R, all of them done already. For each run of rows of R that are columns of
// one supernode k, the rows of R from that run on are rows of k (closure): their places in k
// are found by one merge, and each column of the run is then copied by those places. False
// when a row is not where closure puts it.
bool GatherBelow(const SupernodalFactor& z, std::size_t s, Scratch& scratch) {
  const std::size_t c = z.ColumnCount(s), m = z.RowCount(s) - c;
  const std::size_t* below = z.rowIndex.data() + z.rowStart[s] + c;
  scratch.below.resize(m * m);
  scratch.position.resize(m);
  for (std::size_t a = 0; a < m;) {
    const std::size_t k = z.supernodeOf[below[a]];
    const std::size_t kRowCount = z.RowCount(k), kFirst = z.firstColumn[k];
    const std::size_t kEnd = z.firstColumn[k + 1];
    const std::size_t* kRows = z.rowIndex.data() + z.rowStart[k];
    std::size_t p = below[a] - kFirst;
    for (std::size_t b = a; b < m; ++b) {
      while (p < kRowCount && kRows[p] < below[b])
        ++p;
      if (p == kRowCount || kRows[p] != below[b]) return false;
      scratch.position[b] = p;
    }
    const double* kBlock = z.Block(k);
    std::size_t runEnd = a;
    for (; runEnd < m && below[runEnd] < kEnd; ++runEnd) {
      // Column below[runEnd] of Z, rows below[runEnd ..] of R.
      const double* column = kBlock + (below[runEnd] - kFirst) * kRowCount;
      double* target = scratch.below.data() + runEnd * m;
      for (std::size_t b = runEnd; b < m; ++b)
        target[b] = column[scratch.position[b]];
    }
    a = runEnd;
  }
  return true;
}

// Overwrites the block of supernode s, [L(J,J); L(R,J)], with [Z(J,J); Z(R,J)]. False when
// the pattern is not closed.
bool InvertSupernode(SupernodalFactor& z, std::size_t s, Scratch& scratch) {
  double* block = z.Block(s);
  if (z.dropped[z.firstColumn[s]]) {  // a dropped column is a supernode of one, held
    block[0] = 0.0;
    return true;
  }
  const int c = static_cast<int>(z.ColumnCount(s)), r = static_cast<int>(z.RowCount(s));
  const int m = r - c;
  const double one = 1.0, minusOne = -1.0, zero = 0.0;
  double* lowerBlock = block + c;  // L(R,J), then B, then Z(R,J); leading dimension r
  if (m > 0) {
    if (!GatherBelow(z, s, scratch)) return false;
    // B = L(R,J)·L(J,J)⁻¹, in place.
    dtrsm_("R", "L", "N", "N", &m, &c, &one, block, &r, lowerBlock, &r, 1, 1, 1, 1);
    // Z(R,J) = −Z(R,R)·B.
    scratch.product.resize(static_cast<std::size_t>(m) * static_cast<std::size_t>(c));
    dsymm_("L", "L", &m, &c, &minusOne, scratch.below.data(), &m, lowerBlock, &r, &zero,
           scratch.product.data(), &m, 1, 1);
  }
  // Z(J,J) = (L(J,J)·L(J,J)ᵀ)⁻¹ − Bᵀ·Z(R,J), lower triangle (the upper one is not read).
  int info = 0;
  dpotri_("L", &c, block, &r, &info, 1);
  if (m > 0) {
    dgemm_("T", "N", &c, &c, &m, &minusOne, lowerBlock, &r, scratch.product.data(), &m, &one, block,
           &r, 1, 1);
    for (int j = 0; j < c; ++j)
      std::copy_n(scratch.product.data() + static_cast<std::size_t>(j) * m, m,
                  lowerBlock + static_cast<std::size_t>(j) * r);
  }
  return true;
}

// Works down the subtree under root, parents before children; a child subtree of at least
// smallestTask multiply-adds becomes a task of its own for any thread of the team.
void InvertSubtree(SupernodalFactor& z, const SupernodeTree& tree, std::size_t root,
                   double smallestTask, std::atomic<bool>& closed) {
  Scratch scratch;
  std::vector<std::size_t> pending{root};
  while (!pending.empty()) {
    const std::size_t s = pending.back();
    pending.pop_back();
    if (!InvertSupernode(z, s, scratch)) closed = false;
    for (std::size_t q = tree.childStart[s]; q < tree.childStart[s + 1]; ++q) {
      const std::size_t child = tree.children[q];
      if (tree.work[child] >= smallestTask) {
#pragma omp task default(none) firstprivate(child) shared(z, tree, smallestTask, closed)
        InvertSubtree(z, tree, child, smallestTask, closed);
      } else {
        pending.push_back(child);
      }
    }
  }
}

}  // namespace

SelectedInverse::SelectedInverse(SupernodalFactor factor) : z(std::move(factor)) {
  const SupernodeTree tree = BuildSupernodeTree(z);
  double totalWork = 0.0;
  for (std::size_t root : tree.roots)
    totalWork += tree.work[root];
  const double smallestTask = totalWork * smallestTaskShare;
  std::atomic<bool> closed = true;
  SupernodalFactor& inverse = z;
  // Inside the team the BLAS runs each call on its own thread: the parallelism is that of the
  // tree, where the independent subtrees are large, not that of the (mostly small) blocks.
#pragma omp parallel default(none) shared(inverse, tree, smallestTask, closed)
#pragma omp single
  for (std::size_t root : tree.roots) {
#pragma omp task default(none) firstprivate(root) shared(inverse, tree, smallestTask, closed)
    InvertSubtree(inverse, tree, root, smallestTask, closed);
  }
  if (!closed) throw std::logic_error("the factor's pattern is not closed");
}

double SelectedInverse::AtPositions(std::size_t i, std::size_t j, const std::size_t** from) const {
  const std::size_t s = z.supernodeOf[j], column = j - z.firstColumn[s], r = z.RowCount(s);
  const std::size_t* rows = z.rowIndex.data() + z.rowStart[s];
  const std::size_t* start = from != nullptr && *from != nullptr ? *from : rows + column;
  const std::size_t* found = std::lower_bound(start, rows + r, i);
  if (found == rows + r || *found != i)
    throw std::logic_error("cofactor requested outside the pattern of the normal equations");
  if (from != nullptr) *from = found;
  return z.Block(s)[column * r + static_cast<std::size_t>(found - rows)];
}

void SelectedInverse::Block(const std::size_t* columns, std::size_t count, double* block) const {
  // The columns by elimination position: for each, the later ones are searched for along its
  // rows in ascending order, each search starting where the last one ended.
  std::size_t byPosition[maxBlockColumns], position[maxBlockColumns];
  if (count > maxBlockColumns) throw std::logic_error("cofactor block too large");
  for (std::size_t i = 0; i < count; ++i) {
    byPosition[i] = i;
    position[i] = z.positionOf[columns[i]];
  }
  std::sort(byPosition, byPosition + count,
            [&](std::size_t a, std::size_t b) { return position[a] < position[b]; });
  for (std::size_t a = 0; a < count; ++a) {
    const std::size_t ia = byPosition[a], j = position[ia];
    const std::size_t* from = nullptr;
    for (std::size_t b = a; b < count; ++b) {
      const std::size_t ib = byPosition[b], i = position[ib];
      const double value = z.dropped[i] || z.dropped[j] ? 0.0 : AtPositions(i, j, &from);
      block[ia * count + ib] = value;
      block[ib * count + ia] = value;
    }
  }
}

double SelectedInverse::Entry(std::size_t a, std::size_t b) const {
  std::size_t i = z.positionOf[a], j = z.positionOf[b];
  if (i < j) std::swap(i, j);
  if (z.dropped[i] || z.dropped[j]) return 0.0;
  return AtPositions(i, j, nullptr);
}

}  // namespace zradjust
