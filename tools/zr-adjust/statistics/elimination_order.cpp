#include "tools/zr-adjust/statistics/elimination_order.h"

#include <algorithm>

#include "tools/zr-adjust/statistics/cholmod_input.h"
#include "tools/zr-adjust/statistics/normal_equations.h"

namespace zradjust {
namespace {

// The owners' graph as a symmetric pattern, its upper triangle with the diagonal: column b
// holds the owners a ≤ b joined to b, ascending, without repeats.
SymmetricSparse OwnerGraph(const LinearModel& model, const std::vector<std::size_t>& ownerOf,
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
  SymmetricSparse graph;
  graph.size = ownerCount;
  graph.columnStart.assign(1, 0);
  for (std::vector<std::size_t>& column : joined) {
    std::sort(column.begin(), column.end());
    column.erase(std::unique(column.begin(), column.end()), column.end());
    graph.rowIndex.insert(graph.rowIndex.end(), column.begin(), column.end());
    graph.columnStart.push_back(graph.rowIndex.size());
    column = {};
  }
  return graph;
}

}  // namespace

std::vector<std::size_t> EliminationOrder(const LinearModel& model,
                                          const std::vector<std::size_t>& ownerOf,
                                          std::size_t ownerCount) {
  if (model.unknownCount == 0) return {};
  const std::vector<std::size_t> ownerOrder =
      AnalysedOrder(OwnerGraph(model, ownerOf, ownerCount), {}, true);
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
