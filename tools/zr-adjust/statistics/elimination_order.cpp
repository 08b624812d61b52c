#include "tools/zr-adjust/statistics/elimination_order.h"

#include <suitesparse/cholmod.h>

#include <algorithm>
#include <stdexcept>

namespace zradjust {
namespace {

// The owners' graph as the upper triangle of a symmetric pattern, with its diagonal: column b
// holds the owners a ≤ b joined to b, ascending, without repeats.
std::vector<std::vector<std::size_t>> OwnerGraph(const LinearModel& model,
                                                 const std::vector<std::size_t>& ownerOf,
                                                 std::size_t ownerCount) {
  std::vector<std::vector<std::size_t>> joined(ownerCount);
  for (std::size_t owner = 0; owner < ownerCount; ++owner)
    joined[owner].push_back(owner);
  std::vector<std::size_t> owners;
  for (const ObservationGroup& group : model.groups) {
    owners.clear();
    for (std::size_t r = group.first; r < group.first + group.size; ++r)
      for (const DesignEntry& entry : model.rows[r])
        owners.push_back(ownerOf[entry.unknown]);
    std::sort(owners.begin(), owners.end());
    owners.erase(std::unique(owners.begin(), owners.end()), owners.end());
    for (std::size_t i = 0; i < owners.size(); ++i)
      for (std::size_t j = i + 1; j < owners.size(); ++j)
        joined[owners[j]].push_back(owners[i]);
  }
  for (std::vector<std::size_t>& column : joined) {
    std::sort(column.begin(), column.end());
    column.erase(std::unique(column.begin(), column.end()), column.end());
  }
  return joined;
}

// CHOLMOD's own choice of order for the pattern (see cholmod_input.h's Analyse).
std::vector<std::size_t> OrderOfPattern(const std::vector<std::vector<std::size_t>>& upper) {
  const std::size_t size = upper.size();
  std::size_t entryCount = 0;
  for (const std::vector<std::size_t>& column : upper)
    entryCount += column.size();
  cholmod_common common;
  cholmod_l_start(&common);
  common.supernodal = CHOLMOD_SIMPLICIAL;
  common.print = 0;
  common.nmethods = 2;
  common.method[0].ordering = CHOLMOD_AMD;
  common.method[1].ordering = CHOLMOD_METIS;
  cholmod_sparse* pattern =
      cholmod_l_allocate_sparse(size, size, entryCount, true, true, 1, CHOLMOD_PATTERN, &common);
  cholmod_factor* symbolic = nullptr;
  if (pattern != nullptr) {
    auto* start = static_cast<SuiteSparse_long*>(pattern->p);
    auto* rows = static_cast<SuiteSparse_long*>(pattern->i);
    std::size_t written = 0;
    for (std::size_t c = 0; c < size; ++c) {
      start[c] = static_cast<SuiteSparse_long>(written);
      for (std::size_t r : upper[c])
        rows[written++] = static_cast<SuiteSparse_long>(r);
    }
    start[size] = static_cast<SuiteSparse_long>(written);
    symbolic = cholmod_l_analyze(pattern, &common);
  }
  const bool ordered = symbolic != nullptr && common.status == CHOLMOD_OK;
  std::vector<std::size_t> order(size);
  if (ordered) {
    const auto* permutation = static_cast<const SuiteSparse_long*>(symbolic->Perm);
    for (std::size_t k = 0; k < size; ++k)
      order[k] = static_cast<std::size_t>(permutation[k]);
  }
  cholmod_l_free_factor(&symbolic, &common);
  cholmod_l_free_sparse(&pattern, &common);
  cholmod_l_finish(&common);
  if (!ordered) throw std::runtime_error("the fill-reducing ordering failed");
  return order;
}

}  // namespace

std::vector<std::size_t> EliminationOrder(const LinearModel& model,
                                          const std::vector<std::size_t>& ownerOf,
                                          std::size_t ownerCount) {
  if (model.unknownCount == 0) return {};
  const std::vector<std::size_t> ownerOrder =
      OrderOfPattern(OwnerGraph(model, ownerOf, ownerCount));
  // Each owner's unknowns, ascending, then laid out in the owners' order.
  std::vector<std::size_t> start(ownerCount + 1, 0);
  for (std::size_t u = 0; u < model.unknownCount; ++u)
    ++start[ownerOf[u] + 1];
  for (std::size_t owner = 0; owner < ownerCount; ++owner)
    start[owner + 1] += start[owner];
  std::vector<std::size_t> byOwner(model.unknownCount), next(start.begin(), start.end() - 1);
  for (std::size_t u = 0; u < model.unknownCount; ++u)
    byOwner[next[ownerOf[u]]++] = u;
  std::vector<std::size_t> order;
  order.reserve(model.unknownCount);
  for (std::size_t owner : ownerOrder)
    order.insert(order.end(), byOwner.begin() + static_cast<std::ptrdiff_t>(start[owner]),
                 byOwner.begin() + static_cast<std::ptrdiff_t>(start[owner + 1]));
  return order;
}

}  // namespace zradjust
