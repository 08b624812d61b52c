#include "tools/zr-adjust/model/identifier_order.h"

#include <algorithm>
#include <limits>

namespace zradjust {
namespace {

using Graph = std::vector<std::vector<std::size_t>>;

// Adjacency lists without repeats, each sorted by ascending degree and then by file order: the
// order in which Cuthill-McKee visits a point's neighbours.
Graph PointGraph(const Network& network) {
  Graph graph(network.points.size());
  for (const SurveyObservation& observation : network.observations) {
    if (observation.from == observation.to) continue;
    graph[observation.from].push_back(observation.to);
    graph[observation.to].push_back(observation.from);
  }
  for (auto& neighbours : graph) {
    std::sort(neighbours.begin(), neighbours.end());
    neighbours.erase(std::unique(neighbours.begin(), neighbours.end()), neighbours.end());
  }
  for (auto& neighbours : graph) {
    std::stable_sort(neighbours.begin(), neighbours.end(), [&](std::size_t a, std::size_t b) {
      return graph[a].size() < graph[b].size();
    });
  }
  return graph;
}

// Breadth-first levels from start: the points of the last level and the number of levels.
struct LevelStructure {
  std::vector<std::size_t> lastLevel;
  std::size_t depth = 0;
};

LevelStructure Levels(const Graph& graph, std::size_t start, std::vector<int>& mark, int stamp) {
  LevelStructure levels;
  std::vector<std::size_t> current{start};
  mark[start] = stamp;
  while (!current.empty()) {
    levels.lastLevel = current;
    ++levels.depth;
    std::vector<std::size_t> next;
    for (std::size_t point : current) {
      for (std::size_t neighbour : graph[point]) {
        if (mark[neighbour] != stamp) {
          mark[neighbour] = stamp;
          next.push_back(neighbour);
        }
      }
    }
    current.swap(next);
  }
  return levels;
}

// George and Liu's search: move to a point of least degree in the last level for as long as
// that makes the level structure deeper.
std::size_t PseudoPeripheral(const Graph& graph, std::size_t start, std::vector<int>& mark,
                             int& stamp) {
  LevelStructure levels = Levels(graph, start, mark, ++stamp);
  for (;;) {
    std::size_t candidate = levels.lastLevel.front();
    for (std::size_t point : levels.lastLevel) {
      if (graph[point].size() < graph[candidate].size() ||
          (graph[point].size() == graph[candidate].size() && point < candidate)) {
        candidate = point;
      }
    }
    LevelStructure candidateLevels = Levels(graph, candidate, mark, ++stamp);
    if (candidateLevels.depth <= levels.depth) return start;
    start = candidate;
    levels = candidateLevels;
  }
}

}  // namespace

std::vector<std::size_t> ReverseCuthillMcKee(const Network& network) {
  Graph graph = PointGraph(network);
  std::size_t count = graph.size();
  std::vector<std::size_t> byDegree(count);
  for (std::size_t i = 0; i < count; ++i)
    byDegree[i] = i;
  std::stable_sort(byDegree.begin(), byDegree.end(),
                   [&](std::size_t a, std::size_t b) { return graph[a].size() < graph[b].size(); });

  std::vector<bool> placed(count, false);
  std::vector<int> mark(count, 0);
  int stamp = 0;
  std::vector<std::size_t> order;
  order.reserve(count);
  for (std::size_t seed : byDegree) {
    if (placed[seed]) continue;
    std::size_t start = PseudoPeripheral(graph, seed, mark, stamp);
    // Cuthill-McKee: breadth first, each point's unplaced neighbours by ascending degree.
    std::size_t head = order.size();
    order.push_back(start);
    placed[start] = true;
    while (head < order.size()) {
      std::size_t point = order[head++];
      for (std::size_t neighbour : graph[point]) {
        if (!placed[neighbour]) {
          placed[neighbour] = true;
          order.push_back(neighbour);
        }
      }
    }
  }
  std::reverse(order.begin(), order.end());
  return order;
}

std::vector<std::uint64_t> AssignIdentifiers(const Network& network, IdentifierOrder order) {
  std::vector<std::size_t> sequence;
  if (order == IdentifierOrder::ReverseCuthillMcKee) {
    sequence = ReverseCuthillMcKee(network);
  } else {
    sequence.resize(network.points.size());
    for (std::size_t i = 0; i < sequence.size(); ++i)
      sequence[i] = i;
  }
  std::vector<std::uint64_t> firstIds(network.points.size(), 0);
  std::uint64_t next = 1;
  for (std::size_t point : sequence) {
    firstIds[point] = next;
    next += static_cast<std::uint64_t>(network.points[point].CoordinateCount());
  }
  return firstIds;
}

std::uint64_t NormalProfile(const Network& network, const std::vector<std::uint64_t>& firstIds) {
  // Columns of the unknowns: identifiers of the free coordinates, ranked.
  std::vector<std::uint64_t> unknownIds;
  for (std::size_t p = 0; p < network.points.size(); ++p) {
    const SurveyPoint& point = network.points[p];
    for (int axis = 0; axis < point.CoordinateCount(); ++axis) {
      if (!point.fixed[axis]) unknownIds.push_back(firstIds[p] + static_cast<std::uint64_t>(axis));
    }
  }
  std::sort(unknownIds.begin(), unknownIds.end());
  constexpr std::size_t none = std::numeric_limits<std::size_t>::max();
  auto column = [&](std::size_t point, int axis) {
    if (network.points[point].fixed[axis]) return none;
    std::uint64_t id = firstIds[point] + static_cast<std::uint64_t>(axis);
    return static_cast<std::size_t>(std::lower_bound(unknownIds.begin(), unknownIds.end(), id) -
                                    unknownIds.begin());
  };

  std::vector<std::size_t> first(unknownIds.size());
  for (std::size_t i = 0; i < first.size(); ++i)
    first[i] = i;
  for (const SurveyObservation& observation : network.observations) {
    std::vector<std::size_t> columns;
    for (std::size_t point : {observation.from, observation.to}) {
      PointKind kind = network.points[point].kind;
      bool allAxes = observation.type == ObservationType::Distance;
      int count = allAxes ? 3 : 1;
      for (int k = 0; k < count; ++k) {
        std::size_t c = column(point, allAxes ? k : ObservedCoordinate(observation, kind));
        if (c != none) columns.push_back(c);
      }
    }
    if (columns.empty()) continue;
    std::size_t smallest = *std::min_element(columns.begin(), columns.end());
    for (std::size_t c : columns)
      first[c] = std::min(first[c], smallest);
  }
  std::uint64_t profile = 0;
  for (std::size_t i = 0; i < first.size(); ++i)
    profile += i - first[i] + 1;
  return profile;
}

}  // namespace zradjust
