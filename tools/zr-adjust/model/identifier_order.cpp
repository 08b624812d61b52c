#include "tools/zr-adjust/model/identifier_order.h"

#include <algorithm>

namespace zradjust {
namespace {

using Graph = std::vector<std::vector<std::size_t>>;

// Adjacency lists without repeats, each sorted by ascending degree and then by file order: the
// order in which Cuthill-McKee visits a point's neighbours.
Graph PointGraph(const Network& network) {
  Graph graph(network.points.size());
  auto join = [&](std::size_t a, std::size_t b) {
    if (a == b) return;
    graph[a].push_back(b);
    graph[b].push_back(a);
  };
  for (const SurveyObservation& observation : network.observations) {
    join(observation.from, observation.to);
    if (observation.type == ObservationType::Angle) {
      join(observation.at, observation.from);
      join(observation.at, observation.to);
    }
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

// One coordinate of one point.
struct CoordinateRef {
  std::size_t point;
  int axis;
};

// The coordinates whose partials an observation's row holds.
std::vector<CoordinateRef> CoordinatesOf(const Network& network,
                                         const SurveyObservation& observation) {
  std::vector<CoordinateRef> coordinates;
  // At most three points of three coordinates; taken at once, not grown step by step.
  coordinates.reserve(9);
  auto add = [&](std::size_t point, int axisCount) {
    for (int axis = 0; axis < axisCount; ++axis)
      coordinates.push_back({point, axis});
  };
  switch (observation.type) {
    case ObservationType::Distance:
    case ObservationType::Zenith:
      add(observation.from, 3);
      add(observation.to, 3);
      break;
    case ObservationType::HorizontalDistance:
    case ObservationType::Direction:
    case ObservationType::Azimuth:
      add(observation.from, 2);
      add(observation.to, 2);
      break;
    case ObservationType::Angle:
      add(observation.at, 2);
      add(observation.from, 2);
      add(observation.to, 2);
      break;
    case ObservationType::VectorX:
    case ObservationType::VectorY:
    case ObservationType::VectorZ:
      if (observation.covariance >= 0) {
        add(observation.from, 3);
        add(observation.to, 3);
        break;
      }
      [[fallthrough]];
    default:
      for (std::size_t point : {observation.from, observation.to}) {
        coordinates.push_back({point, ObservedCoordinate(observation, network.points[point].kind)});
      }
      break;
  }
  return coordinates;
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
  const std::size_t pointCount = network.points.size();
  std::vector<std::vector<std::size_t>> setsAt(pointCount);
  for (std::size_t set = 0; set < network.directionSets.size(); ++set)
    setsAt[network.directionSets[set].station].push_back(set);
  std::vector<std::uint64_t> firstIds(pointCount + network.directionSets.size(), 0);
  std::uint64_t next = 1;
  for (std::size_t point : sequence) {
    firstIds[point] = next;
    next += static_cast<std::uint64_t>(network.points[point].CoordinateCount());
    if (order != IdentifierOrder::ReverseCuthillMcKee) continue;
    for (std::size_t set : setsAt[point])
      firstIds[pointCount + set] = next++;
  }
  if (order == IdentifierOrder::Input) {
    for (std::size_t set = 0; set < network.directionSets.size(); ++set)
      firstIds[pointCount + set] = next++;
  }
  return firstIds;
}

std::uint64_t NormalProfile(const Network& network, const std::vector<std::uint64_t>& firstIds,
                            bool pointDatum) {
  // Columns of the unknowns: identifiers of the free coordinates and of the orientations,
  // ranked.
  const std::size_t pointCount = network.points.size();
  std::vector<std::uint64_t> unknownIds;
  for (std::size_t p = 0; p < pointCount; ++p) {
    const SurveyPoint& point = network.points[p];
    for (int axis = 0; axis < point.CoordinateCount(); ++axis) {
      if (!point.fixed[axis]) unknownIds.push_back(firstIds[p] + static_cast<std::uint64_t>(axis));
    }
  }
  for (std::size_t set = 0; set < network.directionSets.size(); ++set)
    unknownIds.push_back(firstIds[pointCount + set]);
  std::sort(unknownIds.begin(), unknownIds.end());
  auto rank = [&](std::uint64_t id) {
    return static_cast<std::size_t>(std::lower_bound(unknownIds.begin(), unknownIds.end(), id) -
                                    unknownIds.begin());
  };
  // The column of every free coordinate (three slots a point) and of every orientation, ranked
  // once here rather than again for every observation that names it.
  std::vector<std::size_t> coordinateColumn(3 * pointCount);
  for (std::size_t p = 0; p < pointCount; ++p) {
    const SurveyPoint& point = network.points[p];
    for (int axis = 0; axis < point.CoordinateCount(); ++axis) {
      if (!point.fixed[axis])
        coordinateColumn[3 * p + axis] = rank(firstIds[p] + static_cast<std::uint64_t>(axis));
    }
  }
  std::vector<std::size_t> orientationColumn(network.directionSets.size());
  for (std::size_t set = 0; set < orientationColumn.size(); ++set)
    orientationColumn[set] = rank(firstIds[pointCount + set]);

  std::vector<std::size_t> first(unknownIds.size());
  for (std::size_t i = 0; i < first.size(); ++i)
    first[i] = i;
  std::vector<std::size_t> columns;
  for (const SurveyObservation& observation : network.observations) {
    columns.clear();
    for (const CoordinateRef& coordinate : CoordinatesOf(network, observation)) {
      if (!network.points[coordinate.point].fixed[coordinate.axis])
        columns.push_back(coordinateColumn[3 * coordinate.point + coordinate.axis]);
    }
    if (observation.type == ObservationType::Direction) {
      columns.push_back(orientationColumn[observation.set]);
    }
    if (columns.empty()) continue;
    std::size_t smallest = *std::min_element(columns.begin(), columns.end());
    for (std::size_t c : columns)
      first[c] = std::min(first[c], smallest);
  }
  if (pointDatum) {
    std::vector<std::size_t> pointColumns;
    for (std::size_t p = 0; p < pointCount; ++p) {
      const SurveyPoint& point = network.points[p];
      for (int axis = 0; point.kind == PointKind::Spatial && axis < 3; ++axis) {
        if (!point.fixed[axis]) pointColumns.push_back(coordinateColumn[3 * p + axis]);
      }
    }
    if (!pointColumns.empty()) {
      std::size_t smallest = *std::min_element(pointColumns.begin(), pointColumns.end());
      for (std::size_t c : pointColumns)
        first[c] = std::min(first[c], smallest);
    }
  }
  std::uint64_t profile = 0;
  for (std::size_t i = 0; i < first.size(); ++i)
    profile += i - first[i] + 1;
  return profile;
}

}  // namespace zradjust
