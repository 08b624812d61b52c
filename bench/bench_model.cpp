#include "bench/bench_model.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <queue>

#include "sparse/sparse_matrix_writers.h"

namespace {

// Identifiers of the value objects start here, clear of anything else in the object table.
constexpr std::uint64_t firstIdentifier = 1000;

ValueHandle HandleOf(ZR::VOValue& value) {
  ValueHandle handle;
  handle.id = value.GetId();
  handle.object = &value;
  return handle;
}

// Neighbours of every point, each list sorted and without repeats.
std::vector<std::vector<std::uint32_t>> PointGraph(const GeneratedNetwork& network) {
  std::vector<std::vector<std::uint32_t>> neighbours(network.points.size());
  for (const GeneratedObservation& observation : network.observations) {
    neighbours[observation.from].push_back(observation.to);
    neighbours[observation.to].push_back(observation.from);
  }
  for (std::vector<std::uint32_t>& list : neighbours) {
    std::sort(list.begin(), list.end());
    list.erase(std::unique(list.begin(), list.end()), list.end());
  }
  return neighbours;
}

// Breadth-first visit of start's component, unvisited neighbours by ascending degree (ties by
// index); marks visited and returns the points in visit order.
std::vector<std::uint32_t> VisitByDegree(const std::vector<std::vector<std::uint32_t>>& graph,
                                         std::uint32_t start, std::vector<bool>& visited) {
  std::vector<std::uint32_t> order{start};
  visited[start] = true;
  for (std::size_t head = 0; head < order.size(); ++head) {
    std::vector<std::uint32_t> next;
    for (std::uint32_t neighbour : graph[order[head]]) {
      if (!visited[neighbour]) {
        visited[neighbour] = true;
        next.push_back(neighbour);
      }
    }
    std::stable_sort(next.begin(), next.end(), [&graph](std::uint32_t a, std::uint32_t b) {
      return graph[a].size() < graph[b].size();
    });
    order.insert(order.end(), next.begin(), next.end());
  }
  return order;
}

}  // namespace

std::vector<std::uint32_t> ReverseCuthillMcKeePoints(const GeneratedNetwork& network) {
  const std::vector<std::vector<std::uint32_t>> graph = PointGraph(network);
  const std::size_t count = graph.size();
  std::vector<bool> placed(count, false);
  std::vector<std::uint32_t> order;
  for (std::uint32_t seed = 0; seed < count; ++seed) {
    if (placed[seed]) continue;
    // A point of least degree among the last level reached from seed lies at the far end of
    // the component: starting there gives narrow levels.
    std::vector<bool> scratch = placed;
    const std::vector<std::uint32_t> sweep = VisitByDegree(graph, seed, scratch);
    std::uint32_t start = sweep.back();
    for (std::size_t k = sweep.size(); k-- > sweep.size() / 2 + sweep.size() / 4;) {
      if (graph[sweep[k]].size() < graph[start].size()) start = sweep[k];
    }
    const std::vector<std::uint32_t> component = VisitByDegree(graph, start, placed);
    order.insert(order.end(), component.rbegin(), component.rend());
  }
  return order;
}

BenchObservation::BenchObservation(const ValueHandle (&from)[3], const ValueHandle (&to)[3],
                                   int axis, double observed, double sigma)
    : axis(axis), observed(observed), sigma(sigma) {
  std::copy(from, from + 3, this->from);
  std::copy(to, to + 3, this->to);
}

void BenchObservation::GetPartials(std::map<ValueHandle, double>& partials) {
  if (axis >= 0) {
    partials[to[axis]] = 1.0;
    partials[from[axis]] = -1.0;
    return;
  }
  const double c = GetComputed();
  for (int a = 0; a < 3; ++a) {
    const double difference = to[a].object->Value - from[a].object->Value;
    partials[to[a]] = difference / c;
    partials[from[a]] = -(difference / c);
  }
}

double BenchObservation::GetComputed() {
  if (axis >= 0) return to[axis].object->Value - from[axis].object->Value;
  const double dx = to[0].object->Value - from[0].object->Value;
  const double dy = to[1].object->Value - from[1].object->Value;
  const double dz = to[2].object->Value - from[2].object->Value;
  return std::sqrt(dx * dx + dy * dy + dz * dz);
}

BenchModel::BenchModel(const GeneratedNetwork& network) : network(network) {
  if (network.freeDatum) {
    std::fprintf(stderr, "BenchModel: networks with a free datum are not built here\n");
    std::exit(2);
  }
  const std::size_t pointCount = network.points.size();
  const std::vector<std::uint32_t> order = ReverseCuthillMcKeePoints(network);
  rankOfPoint.assign(pointCount, 0);
  for (std::uint32_t rank = 0; rank < order.size(); ++rank)
    rankOfPoint[order[rank]] = rank;

  values.reserve(3 * pointCount);  // the object table and the model point into this array
  for (std::size_t p = 0; p < pointCount; ++p)
    for (int a = 0; a < 3; ++a)
      values.emplace_back(firstIdentifier + 3 * rankOfPoint[p] + a,
                          network.points[p].approximate[a]);
  columnOfValue.assign(values.size(), -1);
  std::int64_t column = 0;
  for (std::uint32_t p : order) {
    for (int a = 0; a < 3; ++a) {
      ZR::VOValue& value = values[3 * p + a];
      const uint64 id = value.GetId();
      RegisterVObject(id, &value);
      model.values.insert(HandleOf(value));
      if (p == network.fixedPoint) {
        model.fixedValues.insert(HandleOf(value));
      } else {
        columnOfValue[3 * p + a] = column++;
      }
    }
  }

  observations.reserve(network.observations.size() * 3);
  for (const GeneratedObservation& observation : network.observations) {
    ValueHandle from[3];
    ValueHandle to[3];
    for (int a = 0; a < 3; ++a) {
      from[a] = HandleOf(values[3 * observation.from + a]);
      to[a] = HandleOf(values[3 * observation.to + a]);
    }
    if (observation.kind == GeneratedObservation::Kind::Distance) {
      observations.emplace_back(from, to, -1, observation.observed[0], observation.sigma);
    } else {
      for (int a = 0; a < 3; ++a)
        observations.emplace_back(from, to, a, observation.observed[a], observation.sigma);
    }
  }
  for (BenchObservation& observation : observations)
    model.observations.insert(&observation);
}

BenchModel::~BenchModel() {
  for (ZR::VOValue& value : values) {
    const uint64 id = value.GetId();
    UnregisterVObject(id);
  }
}

void BenchModel::FormNormalEquations(SparseMatrix& N, DenseVector& b) const {
  const auto rows = static_cast<std::uint32_t>(observations.size());
  const auto unknowns = static_cast<std::uint32_t>(3 * (values.size() / 3 - 1));
  NetworkSystem system{SparseMatrix(rows, unknowns), SparseMatrix(rows, rows), DenseVector(rows)};
  std::uint32_t row = 0;
  for (ZR::VOObservation* observation : model.observations) {
    std::map<ValueHandle, double> partials;
    observation->GetPartials(partials);
    for (const auto& [handle, partial] : partials) {
      const std::int64_t column = columnOfValue[handle.object - values.data()];
      if (column >= 0) SetElement(system.A, row, static_cast<std::uint32_t>(column), partial);
    }
    SetElement(system.P, row, row, model.weightScale / observation->GetTolerance());
    system.l[row] = observation->GetDifference();
    ++row;
  }
  FormNetworkNormalEquations(system, N, b);
}

std::vector<std::uint32_t> BenchModel::DeclarationColumns() const {
  std::vector<std::uint32_t> declaredRank(network.points.size(), 0);
  std::uint32_t rank = 0;
  for (std::uint32_t p : network.declarationOrder)
    if (p != network.fixedPoint) declaredRank[p] = rank++;
  std::vector<std::uint32_t> columns(values.size() - 3, 0);
  for (std::size_t v = 0; v < values.size(); ++v) {
    const std::int64_t column = columnOfValue[v];
    if (column >= 0) columns[column] = 3 * declaredRank[v / 3] + static_cast<std::uint32_t>(v % 3);
  }
  return columns;
}
