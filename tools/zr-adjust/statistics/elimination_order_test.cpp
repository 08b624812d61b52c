#include "tools/zr-adjust/statistics/elimination_order.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "tools/zr-adjust/statistics/normal_equations.h"
#include "tools/zr-adjust/statistics/statistics_test_support.h"
#include "tools/zr-adjust/statistics/supernodal_factor.h"

namespace zradjust {
namespace {

TEST(EliminationOrder, OneOrderSuitsEveryNormalMatrixOfTheObservations) {
  // A hub observed from 2,000 points by baselines, one row per axis: the datum check's N
  // falls apart into the three axes, while the statistics' N joins each point's coordinates.
  // An order of the axes' graph can eliminate the hub's X in the middle of the Y and Z
  // columns, and then the statistics' factor fills completely. The owners' order keeps the hub
  // together and last, and the factor of either N stays a few entries per column.
  const std::size_t pointCount = 2001, hub = 0;
  LinearModel model;
  model.unknownCount = 3 * pointCount;
  for (std::size_t p = 1; p < pointCount; ++p)
    for (std::size_t axis = 0; axis < 3; ++axis)
      testing::AddRow(model, {{3 * hub + axis, -1.0}, {3 * p + axis, 1.0}}, 0.01);
  std::vector<std::size_t> ownerOf(model.unknownCount);
  for (std::size_t u = 0; u < model.unknownCount; ++u)
    ownerOf[u] = u / 3;
  const std::vector<std::size_t> order = EliminationOrder(model, ownerOf, pointCount);

  std::vector<std::size_t> sorted = order;
  std::sort(sorted.begin(), sorted.end());
  for (std::size_t u = 0; u < model.unknownCount; ++u)
    ASSERT_EQ(sorted[u], u);
  for (std::size_t k = 0; k < order.size(); k += 3)  // each point's unknowns together, ascending
    EXPECT_TRUE(order[k] % 3 == 0 && order[k + 1] == order[k] + 1 && order[k + 2] == order[k] + 2);

  std::vector<bool> heldFirstPoint(model.unknownCount, false);
  for (std::size_t axis = 0; axis < 3; ++axis)
    heldFirstPoint[3 + axis] = true;
  std::vector<std::pair<std::size_t, std::size_t>> pointBlocks;
  for (std::size_t p = 0; p < pointCount; ++p)
    for (std::size_t a = 0; a < 3; ++a)
      for (std::size_t b = a + 1; b < 3; ++b)
        pointBlocks.emplace_back(3 * p + a, 3 * p + b);
  struct Case {
    const char* name;
    NormalEquations normal;
  };
  const Case cases[] = {
      {"axes apart", FormNormalEquations(model, heldFirstPoint, {})},
      {"points joined", FormNormalEquations(model, heldFirstPoint, pointBlocks)},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const std::vector<std::size_t> columns = ColumnOrder(c.normal, order);
    ASSERT_EQ(columns.size(), c.normal.matrix.size);
    const SupernodalFactor factor = FactoriseDroppingWeakPivots(c.normal.matrix, 1e-10, columns);
    EXPECT_LT(factor.valueStart.back(), 20 * factor.size);
    EXPECT_TRUE(
        std::none_of(factor.dropped.begin(), factor.dropped.end(), [](bool d) { return d; }));
  }
}

}  // namespace
}  // namespace zradjust
