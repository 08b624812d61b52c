#include "tools/zr-adjust/statistics/supernodal_cholesky.h"

#include <omp.h>

#include <algorithm>
#include <atomic>
#include <vector>

#include "tools/zr-adjust/statistics/dense_kernels.h"

namespace zradjust {
namespace {

// A subtree this much smaller than the whole tree (in multiply-adds) is not worth sharing out:
// one thread does all of it.
constexpr double smallestShare = 1.0 / 256.0;

// What each supernode J receives from the supernodes below it: supernode source's rows
// [begin, end) are columns of J, and its rows [begin, r) all rows of J (closure). Listed per J.
struct Update {
  std::size_t source, begin, end;
};

struct Updates {
  std::vector<std::size_t> start;  // per J, into list
  std::vector<Update> list;
};

// Each supernode's rows below its own columns, cut into runs that fall into one supernode.
Updates UpdatesOf(const SupernodalFactor& f) {
  Updates updates;
  updates.start.assign(f.supernodeCount + 1, 0);
  auto forEachRun = [&](auto&& visit) {
    for (std::size_t d = 0; d < f.supernodeCount; ++d) {
      const std::size_t* rows = f.rowIndex.data() + f.rowStart[d];
      const std::size_t r = f.RowCount(d);
      for (std::size_t p = f.ColumnCount(d); p < r;) {
        const std::size_t j = f.supernodeOf[rows[p]], jEnd = f.firstColumn[j + 1];
        std::size_t end = p;
        while (end < r && rows[end] < jEnd)
          ++end;
        visit(j, Update{d, p, end});
        p = end;
      }
    }
  };
  forEachRun([&](std::size_t j, const Update&) { ++updates.start[j + 1]; });
  for (std::size_t j = 0; j < f.supernodeCount; ++j)
    updates.start[j + 1] += updates.start[j];
  updates.list.resize(updates.start.back());
  std::vector<std::size_t> next(updates.start.begin(), updates.start.end() - 1);
  forEachRun([&](std::size_t j, const Update& update) { updates.list[next[j]++] = update; });
  return updates;
}

struct Scratch {
  std::vector<std::size_t> localOf;  // per elimination position: its row within the supernode
  std::vector<double> product;
};

// Fills the block of supernode s: its columns of P·N·Pᵀ, less L(R, D)·L(J, D)ᵀ of every
// supernode D that updates it, then the Cholesky factor of the diagonal block and
// L(R, J) = block(R, J)·L(J, J)⁻ᵀ. False when the diagonal block is not positive definite.
bool FactoriseSupernode(const SymmetricSparse& n, SupernodalFactor& f, const Updates& updates,
                        std::size_t s, Scratch& scratch) {
  const std::size_t c = f.ColumnCount(s), r = f.RowCount(s), first = f.firstColumn[s];
  double* block = f.Block(s);
  std::fill_n(block, r * c, 0.0);
  const std::size_t* rows = f.rowIndex.data() + f.rowStart[s];
  for (std::size_t i = 0; i < r; ++i)
    scratch.localOf[rows[i]] = i;
  for (std::size_t j = 0; j < c; ++j) {  // N's columns, the lower triangle in elimination order
    const std::size_t k = first + j, column = f.order[k];
    double* target = block + j * r;
    for (std::size_t p = n.columnStart[column]; p < n.columnStart[column + 1]; ++p) {
      const std::size_t position = f.positionOf[n.rowIndex[p]];
      if (position >= k) target[scratch.localOf[position]] += n.value[p];
    }
  }
  const double one = 1.0, zero = 0.0;
  for (std::size_t u = updates.start[s]; u < updates.start[s + 1]; ++u) {
    const Update& update = updates.list[u];
    const std::size_t d = update.source, dRowCount = f.RowCount(update.source);
    const std::size_t* dRows = f.rowIndex.data() + f.rowStart[d];
    const double* source = f.Block(d) + update.begin;
    const int below = static_cast<int>(dRowCount - update.begin);
    const int inside = static_cast<int>(update.end - update.begin);
    const int inner = static_cast<int>(f.ColumnCount(d)), leading = static_cast<int>(dRowCount);
    // product = L(rows begin.., D)·L(rows begin..end, D)ᵀ, below × inside.
    scratch.product.resize(static_cast<std::size_t>(below) * static_cast<std::size_t>(inside));
    dgemm_("N", "T", &below, &inside, &inner, &one, source, &leading, source, &leading, &zero,
           scratch.product.data(), &below, 1, 1);
    for (int b = 0; b < inside; ++b) {  // subtracted at and below the diagonal of J
      double* target = block + (dRows[update.begin + b] - first) * r;
      const double* from = scratch.product.data() + static_cast<std::size_t>(b) * below;
      for (int a = b; a < below; ++a)
        target[scratch.localOf[dRows[update.begin + a]]] -= from[a];
    }
  }
  const int columns = static_cast<int>(c), leading = static_cast<int>(r);
  const int belowCount = static_cast<int>(r - c);
  int info = 0;
  dpotrf_("L", &columns, block, &leading, &info, 1);
  if (info != 0) return false;
  if (belowCount > 0)
    dtrsm_("R", "L", "T", "N", &belowCount, &columns, &one, block, &leading, block + c, &leading, 1,
           1, 1, 1);
  return true;
}

// The supernodes of the subtree under root, children before parents.
std::vector<std::size_t> SubtreeOf(const SupernodeTree& tree, std::size_t root) {
  std::vector<std::size_t> nodes{root};
  for (std::size_t k = 0; k < nodes.size(); ++k)
    for (std::size_t q = tree.childStart[nodes[k]]; q < tree.childStart[nodes[k] + 1]; ++q)
      nodes.push_back(tree.children[q]);
  std::sort(nodes.begin(), nodes.end());  // parents come after their children
  return nodes;
}

}  // namespace

// A supernode can be factorised once all its children are. The tree is cut where subtrees
// become small: each small subtree whose parent is not small (and each large leaf) is a task;
// whichever task finishes a parent's last child goes on with the parent, and so on up. No
// thread waits for another, and each block is written by one thread.
bool FactoriseOnPattern(const SymmetricSparse& n, SupernodalFactor& f) {
  // Not cleared here: each block is cleared by the thread that fills it.
  f.value = std::shared_ptr<double[]>(new double[f.valueStart.back()]);
  const Updates updates = UpdatesOf(f);
  const SupernodeTree tree = BuildSupernodeTree(f);
  double totalWork = 0.0;
  for (std::size_t root : tree.roots)
    totalWork += tree.work[root];
  const double smallest = totalWork * smallestShare;
  std::vector<std::atomic<std::size_t>> remaining(f.supernodeCount);
  for (std::size_t s = 0; s < f.supernodeCount; ++s)
    remaining[s].store(tree.childStart[s + 1] - tree.childStart[s], std::memory_order_relaxed);
  std::vector<Scratch> scratch(static_cast<std::size_t>(omp_get_max_threads()));
  std::atomic<bool> positive = true;

  auto run = [&](std::size_t start) {
    Scratch& mine = scratch[static_cast<std::size_t>(omp_get_thread_num())];
    mine.localOf.resize(f.size);
    const std::vector<std::size_t> nodes =
        tree.work[start] < smallest ? SubtreeOf(tree, start) : std::vector<std::size_t>{start};
    for (std::size_t s : nodes)
      if (!FactoriseSupernode(n, f, updates, s, mine)) positive = false;
    for (std::size_t p = tree.parent[start]; p != SupernodeTree::none; p = tree.parent[p]) {
      if (remaining[p].fetch_sub(1, std::memory_order_acq_rel) != 1) return;
      if (!FactoriseSupernode(n, f, updates, p, mine)) positive = false;
    }
  };
#pragma omp parallel default(none) shared(f, tree, smallest, run)
#pragma omp single
  for (std::size_t s = 0; s < f.supernodeCount; ++s) {
    const std::size_t parent = tree.parent[s];
    const bool small = tree.work[s] < smallest;
    const bool topOfSmall =
        small && (parent == SupernodeTree::none || tree.work[parent] >= smallest);
    const bool largeLeaf = !small && tree.childStart[s] == tree.childStart[s + 1];
    if (topOfSmall || largeLeaf) {
#pragma omp task default(none) firstprivate(s) shared(run)
      run(s);
    }
  }
  return positive;
}

}  // namespace zradjust
