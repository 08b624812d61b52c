#include "bench/bench_model.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <vector>

namespace {

std::vector<double> Sorted(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values;
}

// N and b of one network formed twice: by the observation objects of BenchModel, in its own
// numbering of the unknowns, and by the host-free system of bench_support, in grid order.
struct FormedTwice {
  explicit FormedTwice(const GeneratedNetwork& network) : model(network) {
    model.FormNormalEquations(N, b);
    FormNetworkNormalEquations(BuildNetworkSystem(network), gridN, gridB);
  }
  BenchModel model;
  SparseMatrix N, gridN;
  DenseVector b, gridB;
};

// The reverse Cuthill-McKee order is a permutation of the points, and it shrinks the profile of
// N far below the declaration order (which is shuffled) and below the grid order as well.
TEST(BenchModel, OrdersThePointsForASmallProfile) {
  for (std::uint32_t points : {1u, 2u, 3u, 400u}) {
    SCOPED_TRACE(points);
    const GeneratedNetwork network = GenerateNetwork({.pointCount = points, .seed = 3});
    std::vector<std::uint32_t> order = ReverseCuthillMcKeePoints(network);
    std::sort(order.begin(), order.end());
    std::vector<std::uint32_t> identity(points);
    std::iota(identity.begin(), identity.end(), 0u);
    EXPECT_EQ(order, identity);
  }
  const GeneratedNetwork network = GenerateNetwork({.pointCount = 900, .seed = 3});
  const FormedTwice formed(network);
  const SparseMatrix &N = formed.N, &gridN = formed.gridN;
  const std::uint64_t rcm = CompactProfileSlots(N);
  EXPECT_LT(rcm, CompactProfileSlots(gridN));
  EXPECT_LT(10 * rcm, CompactProfileSlots(N, formed.model.DeclarationColumns()));
}

// At the approximate coordinates the observation objects linearise exactly as the host-free
// system of bench_support does: the same N and b up to the numbering of the unknowns, so the
// same sorted diagonal, the same sorted b and the same number of entries.
TEST(BenchModel, NormalEquationsMatchTheHostFreeSystem) {
  const GeneratedNetwork network = GenerateNetwork({.pointCount = 300, .seed = 9});
  const FormedTwice formed(network);
  const SparseMatrix &N = formed.N, &gridN = formed.gridN;
  const DenseVector &b = formed.b, &gridB = formed.gridB;
  ASSERT_EQ(N.RowCount(), gridN.RowCount());
  EXPECT_EQ(N.EntryCount(), gridN.EntryCount());
  std::vector<double> diagonal, gridDiagonal, rightHandSide, gridRightHandSide;
  for (std::uint32_t i = 0; i < N.RowCount(); ++i) {
    diagonal.push_back(GetElement(N, i, i));
    gridDiagonal.push_back(GetElement(gridN, i, i));
    rightHandSide.push_back(b[i]);
    gridRightHandSide.push_back(gridB[i]);
  }
  const auto near = [](const std::vector<double>& a, const std::vector<double>& e) {
    for (std::size_t k = 0; k < a.size(); ++k)
      if (std::fabs(a[k] - e[k]) > 1e-9 * (std::fabs(e[k]) + 1.0)) return false;
    return true;
  };
  EXPECT_TRUE(near(Sorted(diagonal), Sorted(gridDiagonal)));
  EXPECT_TRUE(near(Sorted(rightHandSide), Sorted(gridRightHandSide)));
}

// A path 0-1-2-3-4 and, apart from it, a triangle 5-6-7: every edge joins neighbours in the
// order (bandwidth 1 on the path, at most 2 in the triangle) and each component stays together.
TEST(BenchModel, ReverseCuthillMcKeeKeepsNeighboursTogether) {
  GeneratedNetwork network;
  network.points.resize(8);
  const std::uint32_t edges[][2] = {{3, 4}, {0, 1}, {2, 3}, {1, 2}, {5, 6}, {6, 7}, {7, 5}};
  for (const auto& edge : edges)
    network.observations.push_back(
        {GeneratedObservation::Kind::Distance, edge[0], edge[1], {1.0, 0.0, 0.0}, 0.01});
  const std::vector<std::uint32_t> order = ReverseCuthillMcKeePoints(network);
  ASSERT_EQ(order.size(), 8u);
  std::vector<int> rank(8, -1);
  for (int r = 0; r < 8; ++r)
    rank[order[r]] = r;
  for (const auto& edge : edges) {
    const int distance = std::abs(rank[edge[0]] - rank[edge[1]]);
    EXPECT_LE(distance, edge[0] < 5 ? 1 : 2) << edge[0] << "-" << edge[1];
  }
  EXPECT_EQ(std::abs(rank[0] - rank[4]), 4);  // the path runs from one end to the other
}

// The observations' partials are the derivatives of what they compute: central differences of
// GetComputed in every coordinate of both points, for a distance and a baseline component.
TEST(BenchModel, PartialsMatchFiniteDifferences) {
  ZR::VOValue from[3] = {{11, 100.0}, {12, 200.0}, {13, 10.0}};
  ZR::VOValue to[3] = {{21, 130.0}, {22, 160.0}, {23, 12.5}};
  ValueHandle fromHandles[3], toHandles[3];
  for (int a = 0; a < 3; ++a) {
    fromHandles[a] = {&from[a], from[a].GetId()};
    toHandles[a] = {&to[a], to[a].GetId()};
  }
  for (int axis : {-1, 0, 2}) {
    SCOPED_TRACE(axis);
    BenchObservation observation(fromHandles, toHandles, axis, 50.0, 0.002);
    std::map<ValueHandle, double> partials;
    observation.GetPartials(partials);
    EXPECT_EQ(partials.size(), axis < 0 ? 6u : 2u);
    EXPECT_DOUBLE_EQ(observation.GetDifference(), 50.0 - observation.GetComputed());
    EXPECT_DOUBLE_EQ(observation.GetTolerance(), 0.002 * 0.002);
    for (ZR::VOValue* value : {&from[0], &from[1], &from[2], &to[0], &to[1], &to[2]}) {
      const double h = 1e-4, kept = value->Value;
      value->Value = kept + h;
      const double above = observation.GetComputed();
      value->Value = kept - h;
      const double below = observation.GetComputed();
      value->Value = kept;
      const auto found = partials.find({value, value->GetId()});
      const double partial = found == partials.end() ? 0.0 : found->second;
      EXPECT_NEAR(partial, (above - below) / (2 * h), 1e-8) << value->GetId();
    }
  }
}

}  // namespace
