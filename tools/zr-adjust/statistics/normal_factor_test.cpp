#include "tools/zr-adjust/statistics/normal_factor.h"

#include <gtest/gtest.h>

#include <random>

#include "tools/zr-adjust/statistics/normal_equations.h"
#include "tools/zr-adjust/statistics/statistics_test_support.h"
#include "tools/zr-adjust/statistics/supernodal_factor.h"

namespace zradjust {
namespace {

using testing::AddLevelling;
using testing::AddPlanDistance;
using testing::AddRow;

// Points on a slightly irregular grid, so that no three are collinear by accident.
std::vector<std::vector<double>> PlanPoints(std::size_t count) {
  std::vector<std::vector<double>> xy;
  for (std::size_t p = 0; p < count; ++p)
    xy.push_back({100.0 * (p % 3) + 7.0 * ((p * p) % 5), 100.0 * (p / 3) + 3.0 * ((p * 3) % 7)});
  return xy;
}

// A braced plan network of distances only: every pair of points closer than 250 m.
LinearModel PlanDistances(std::size_t count, std::size_t stride) {
  const auto xy = PlanPoints(count);
  LinearModel model;
  model.unknownCount = stride * count;
  for (std::size_t a = 0; a < count; ++a)
    for (std::size_t b = a + 1; b < count; ++b)
      if (std::hypot(xy[b][0] - xy[a][0], xy[b][1] - xy[a][1]) < 250.0)
        AddPlanDistance(model, xy, a, b, 0.002, stride);
  return model;
}

TEST(WeakUnknowns, ReturnsTheDefectOfEachKindOfNetwork) {
  LinearModel levelling;  // a loop of four heights and a separate pair: two parts
  levelling.unknownCount = 7;
  AddLevelling(levelling, 0, 1, 0.001);
  AddLevelling(levelling, 1, 2, 0.001);
  AddLevelling(levelling, 2, 3, 0.001);
  AddLevelling(levelling, 3, 0, 0.001);
  AddLevelling(levelling, 4, 5, 0.001);  // unknown 6 is observed by nothing
  const LinearModel plan = PlanDistances(9, 2);
  const LinearModel planInSpace = PlanDistances(9, 3);  // the heights are not observed at all
  const double tolerance = 1e-10;
  struct Case {
    const char* name;
    const LinearModel& model;
    std::vector<std::size_t> leftOut;
    std::size_t weakCount;
    std::vector<std::size_t> mustContain;
  };
  const Case cases[] = {
      {"free levelling", levelling, {}, 3, {6}},
      {"one height held per part", levelling, {0, 5}, 1, {6}},
      {"all parts held", levelling, {2, 4, 6}, 0, {}},
      {"free plan: two shifts and a rotation", plan, {}, 3, {}},
      {"plan held by x0, y0, x4", plan, {0, 1, 8}, 0, {}},
      {"plan held by one point only", plan, {0, 1}, 1, {}},
      {"plan in space: every height, shifts and rotation",
       planInSpace,
       {},
       9 + 3,
       {2, 5, 8, 11, 14, 17, 20, 23, 26}},
  };
  for (const Case& c : cases) {
    const std::vector<std::size_t> weak = WeakUnknowns(c.model, c.leftOut, tolerance);
    EXPECT_EQ(weak.size(), c.weakCount) << c.name;
    for (std::size_t unknown : c.mustContain)
      EXPECT_NE(std::find(weak.begin(), weak.end(), unknown), weak.end()) << c.name << unknown;
    for (std::size_t unknown : c.leftOut)
      EXPECT_EQ(std::find(weak.begin(), weak.end(), unknown), weak.end()) << c.name << unknown;
    for (std::size_t k = 1; k < weak.size(); ++k)
      EXPECT_LT(weak[k - 1], weak[k]) << c.name;
    // Holding what is returned as well leaves a positive definite rest.
    std::vector<std::size_t> all = c.leftOut;
    all.insert(all.end(), weak.begin(), weak.end());
    EXPECT_TRUE(WeakUnknowns(c.model, all, tolerance).empty()) << c.name;
  }
}

TEST(WeakUnknowns, DroppedPivotsLeaveTheFactorOfTheRest) {
  // A free plan network factorised with its weak pivots dropped must solve the system with
  // exactly those unknowns removed; the reference is a dense inverse of that submatrix.
  const LinearModel plan = PlanDistances(8, 2);
  const NormalEquations normal = FormNormalEquations(plan, {}, {});
  const SupernodalFactor factor = FactoriseDroppingWeakPivots(normal.matrix, 1e-10);
  std::vector<std::size_t> kept;
  for (std::size_t c = 0; c < factor.size; ++c)
    if (!factor.dropped[factor.positionOf[c]]) kept.push_back(c);
  ASSERT_EQ(kept.size(), factor.size - 3);
  const testing::Dense inverse =
      testing::DenseInverse(testing::DenseSubmatrix(testing::DenseNormal(plan), kept));
  std::mt19937_64 random(7);
  std::uniform_real_distribution<double> uniform(-1.0, 1.0);
  std::vector<double> b(factor.size);
  for (double& value : b)
    value = uniform(random);
  const std::vector<double> x = SolveWithFactor(factor, b);
  double largest = 0.0;
  for (std::size_t i = 0; i < kept.size(); ++i) {
    double expected = 0.0;
    for (std::size_t j = 0; j < kept.size(); ++j)
      expected += inverse[i][j] * b[kept[j]];
    largest = std::max(largest, std::fabs(expected));
    EXPECT_NEAR(x[kept[i]], expected, 1e-7 * largest + 1e-12) << i;
  }
  for (std::size_t c = 0; c < factor.size; ++c)
    if (factor.dropped[factor.positionOf[c]]) {
      EXPECT_EQ(x[c], 0.0);
    }
}

TEST(WeakUnknowns, CorrelatedGroupsAreWhitenedAsAWhole) {
  // Two 3D points joined by one baseline with a full covariance: the baseline alone
  // determines nothing absolute (three shifts), holding one point determines the other.
  LinearModel model;
  model.unknownCount = 6;
  ObservationGroup group;
  group.first = 0;
  group.size = 3;
  const double c[3][3] = {{4e-6, 1e-6, 5e-7}, {1e-6, 3e-6, 2e-7}, {5e-7, 2e-7, 9e-6}};
  for (int i = 0; i < 3; ++i) {
    model.rows.push_back(
        {{static_cast<std::size_t>(i), -1.0}, {3 + static_cast<std::size_t>(i), 1.0}});
    for (int j = 0; j < 3; ++j)
      group.covariance[i][j] = c[i][j];
  }
  model.groups.push_back(group);
  EXPECT_EQ(WeakUnknowns(model, {}, 1e-10).size(), 3u);
  EXPECT_TRUE(WeakUnknowns(model, {0, 1, 2}, 1e-10).empty());
}

}  // namespace
}  // namespace zradjust
