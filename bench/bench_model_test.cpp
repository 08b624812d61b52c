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
  BenchModel model(network);
  SparseMatrix N;
  DenseVector b;
  model.FormNormalEquations(N, b);
  SparseMatrix gridN;
  DenseVector gridB;
  FormNetworkNormalEquations(BuildNetworkSystem(network), gridN, gridB);
  const std::uint64_t rcm = CompactProfileSlots(N);
  EXPECT_LT(rcm, CompactProfileSlots(gridN));
  EXPECT_LT(10 * rcm, CompactProfileSlots(N, model.DeclarationColumns()));
}

// At the approximate coordinates the observation objects linearise exactly as the host-free
// system of bench_support does: the same N and b up to the numbering of the unknowns, so the
// same sorted diagonal, the same sorted b and the same number of entries.
TEST(BenchModel, NormalEquationsMatchTheHostFreeSystem) {
  const GeneratedNetwork network = GenerateNetwork({.pointCount = 300, .seed = 9});
  BenchModel model(network);
  SparseMatrix N;
  DenseVector b;
  model.FormNormalEquations(N, b);
  SparseMatrix gridN;
  DenseVector gridB;
  FormNetworkNormalEquations(BuildNetworkSystem(network), gridN, gridB);
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

}  // namespace
