#include "tools/zr-adjust/statistics/observation_tests.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "tools/zr-adjust/statistics/normal_factor.h"
#include "tools/zr-adjust/statistics/statistics_test_support.h"

namespace zradjust {
namespace {

using testing::Dense;

std::vector<std::vector<double>> Points(std::size_t count) {
  std::vector<std::vector<double>> xyz;
  for (std::size_t p = 0; p < count; ++p)
    xyz.push_back({150.0 * (p % 3) + 11.0 * ((p * p) % 5), 140.0 * (p / 3) + 5.0 * ((p * 3) % 7),
                   30.0 + 4.0 * ((p * 5) % 4)});
  return xyz;
}

// A plan network (unknowns 2p, 2p+1) of distances, a direction set at point 0 (unknown
// 2·count) and, optionally, GNSS-like baselines in plan with a full covariance: 2x2, and
// every other one 3x3 with a third row (an east difference of the next two points).
LinearModel PlanNetwork(std::size_t count, bool withBaselines) {
  const auto xy = Points(count);
  LinearModel model;
  model.unknownCount = 2 * count + 1;
  for (std::size_t a = 0; a < count; ++a)
    for (std::size_t b = a + 1; b < count; ++b)
      if (std::hypot(xy[b][0] - xy[a][0], xy[b][1] - xy[a][1]) < 300.0)
        testing::AddPlanDistance(model, xy, a, b, 0.003);
  for (std::size_t b = 1; b < count; b += 2)
    testing::AddDirection(model, xy, 0, b, 2 * count, 2e-5);
  if (withBaselines)
    for (std::size_t a = 0; a + 2 < count; a += 2) {
      ObservationGroup group;
      group.first = model.rows.size();
      group.size = a % 4 == 0 && a + 3 < count ? 3 : 2;
      const double covariance[3][3] = {
          {9e-6, 4e-6, -2e-6}, {4e-6, 6e-6, 1e-6}, {-2e-6, 1e-6, 5e-6}};
      for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
          group.covariance[i][j] = covariance[i][j];
      for (std::size_t axis = 0; axis < 2; ++axis)
        model.rows.push_back({{2 * a + axis, -1.0}, {2 * (a + 2) + axis, 1.0}});
      if (group.size == 3) model.rows.push_back({{2 * (a + 1), -1.0}, {2 * (a + 3), 1.0}});
      model.groups.push_back(group);
    }
  return model;
}

// Dense Σ, A and the least-squares residuals v = l − A·x̂ of observations l, with the unknowns
// `held` left out of the solution (they stay zero) — all by plain loops.
struct DenseAdjustment {
  Dense covariance, weight, design, residualCofactor;
  std::vector<double> residuals;
};

DenseAdjustment AdjustDensely(const LinearModel& model, const std::vector<std::size_t>& kept,
                              const std::vector<double>& observations) {
  const std::size_t n = model.rows.size(), u = kept.size();
  DenseAdjustment dense;
  dense.covariance.assign(n, std::vector<double>(n, 0.0));
  dense.design.assign(n, std::vector<double>(u, 0.0));
  for (const ObservationGroup& group : model.groups)
    for (int i = 0; i < group.size; ++i)
      for (int j = 0; j < group.size; ++j)
        dense.covariance[group.first + i][group.first + j] = group.covariance[i][j];
  for (std::size_t r = 0; r < n; ++r)
    for (const DesignEntry& entry : model.rows[r])
      for (std::size_t c = 0; c < u; ++c)
        if (kept[c] == entry.unknown) dense.design[r][c] = entry.partial;
  dense.weight = testing::DenseInverse(dense.covariance);
  Dense normal(u, std::vector<double>(u, 0.0));
  std::vector<double> rightHandSide(u, 0.0);
  for (std::size_t i = 0; i < u; ++i)
    for (std::size_t r = 0; r < n; ++r)
      for (std::size_t s = 0; s < n; ++s) {
        const double ap = dense.design[r][i] * dense.weight[r][s];
        rightHandSide[i] += ap * observations[s];
        for (std::size_t j = 0; j < u; ++j)
          normal[i][j] += ap * dense.design[s][j];
      }
  const Dense q = testing::DenseInverse(normal);
  dense.residuals = observations;
  for (std::size_t r = 0; r < n; ++r)
    for (std::size_t i = 0; i < u; ++i)
      for (std::size_t j = 0; j < u; ++j)
        dense.residuals[r] -= dense.design[r][i] * q[i][j] * rightHandSide[j];
  dense.residualCofactor = dense.covariance;
  for (std::size_t r = 0; r < n; ++r)
    for (std::size_t s = 0; s < n; ++s)
      for (std::size_t i = 0; i < u; ++i)
        for (std::size_t j = 0; j < u; ++j)
          dense.residualCofactor[r][s] -= dense.design[r][i] * q[i][j] * dense.design[s][j];
  return dense;
}

std::vector<double> Noise(const LinearModel& model, unsigned seed) {
  std::mt19937_64 random(seed);
  std::normal_distribution<double> normal(0.0, 1.0);
  // Uncorrelated noise of each row's own standard deviation.
  std::vector<double> l(model.rows.size());
  for (const ObservationGroup& group : model.groups)
    for (int i = 0; i < group.size; ++i)
      l[group.first + i] = normal(random) * std::sqrt(group.covariance[i][i]);
  return l;
}

TEST(ObservationTests, EqualTheDenseGeneralisedLeastSquaresReference) {
  // Correlated groups and single rows; P = Σ⁻¹ in full, Q_vv = Σ − A·N⁻¹·Aᵀ in full:
  // r_i = (Q_vv·P)_ii, w_i = (P·v)_i / √((P·Q_vv·P)_ii).
  const LinearModel model = PlanNetwork(9, true);
  DatumBasis basis;
  basis.held = {0, 1, 2};
  const std::vector<std::size_t> kept = testing::UnknownsFrom(3, model.unknownCount);
  const DenseAdjustment dense = AdjustDensely(model, kept, Noise(model, 3));
  DatumCofactors cofactors(model, basis, {});
  const auto tests = TestObservations(model, cofactors, dense.residuals);
  const std::size_t n = model.rows.size();
  double redundancySum = 0.0;
  for (std::size_t i = 0; i < n; ++i) {
    double r = 0.0, pv = 0.0, pqp = 0.0;
    for (std::size_t k = 0; k < n; ++k) {
      r += dense.residualCofactor[i][k] * dense.weight[k][i];
      pv += dense.weight[i][k] * dense.residuals[k];
      for (std::size_t l = 0; l < n; ++l)
        pqp += dense.weight[i][k] * dense.residualCofactor[k][l] * dense.weight[l][i];
    }
    EXPECT_NEAR(tests[i].redundancy, r, 1e-9) << i;
    ASSERT_TRUE(tests[i].w.has_value()) << i;
    EXPECT_NEAR(*tests[i].w, pv / std::sqrt(pqp), 1e-6 * std::max(1.0, std::fabs(*tests[i].w)))
        << i;
    EXPECT_NEAR(*tests[i].mdb, 4.13 / std::sqrt(pqp), 1e-6 * *tests[i].mdb) << i;
    redundancySum += tests[i].redundancy;
  }
  EXPECT_NEAR(redundancySum, static_cast<double>(n - kept.size()), 1e-9);
}

TEST(ObservationTests, AGroupWithoutCorrelationIsItsRowsAlone) {
  // The same baselines once as correlated groups with zero correlation, once as rows of
  // their own: the group formulas must reduce to r = Q_vv/σ², w = v/(σ√r), MDB = 4.13σ/√r.
  LinearModel grouped = PlanNetwork(6, true), single = PlanNetwork(6, false);
  for (ObservationGroup& group : grouped.groups)
    if (group.size > 1) {
      for (int i = 0; i < group.size; ++i) {
        for (int j = 0; j < group.size; ++j)
          if (i != j) group.covariance[i][j] = 0.0;
        testing::AddRow(single, grouped.rows[group.first + i], std::sqrt(group.covariance[i][i]));
      }
    }
  const std::vector<double> residuals = Noise(grouped, 5);
  DatumBasis basis;
  basis.held = {0, 1, 2};
  DatumCofactors groupedCofactors(grouped, basis, {}), singleCofactors(single, basis, {});
  const auto a = TestObservations(grouped, groupedCofactors, residuals);
  const auto b = TestObservations(single, singleCofactors, residuals);
  for (std::size_t i = 0; i < a.size(); ++i) {
    EXPECT_NEAR(a[i].redundancy, b[i].redundancy, 1e-12) << i;
    EXPECT_NEAR(*a[i].w, *b[i].w, 1e-9 * std::fabs(*b[i].w)) << i;
    EXPECT_NEAR(*a[i].mdb, *b[i].mdb, 1e-9 * *b[i].mdb) << i;
    const double sigma = std::sqrt(single.groups[i].covariance[0][0]);
    EXPECT_NEAR(*b[i].w, residuals[i] / (sigma * std::sqrt(b[i].redundancy)),
                1e-9 * std::fabs(*b[i].w));
    EXPECT_NEAR(*b[i].mdb, 4.13 * sigma / std::sqrt(b[i].redundancy), 1e-9 * *b[i].mdb);
  }
}

TEST(ObservationTests, RedundancySumsToNMinusUPlusDAndUncontrolledRows) {
  // A free plan network (d = 3) in the minimal datum, plus a spur point reached by one
  // distance only: that distance is uncontrolled (r = 0), without w or MDB.
  LinearModel model = PlanNetwork(7, false);
  const auto xy = Points(8);
  model.unknownCount += 2;  // point 7 at unknowns 15, 16 after the orientation 14
  const double dx = xy[7][0] - xy[2][0], dy = xy[7][1] - xy[2][1], s = std::hypot(dx, dy);
  testing::AddRow(model, {{4, -dx / s}, {5, -dy / s}, {15, dx / s}, {16, dy / s}}, 0.003);
  testing::AddRow(model, {{16, 1.0}}, 0.01);
  DatumBasis basis;
  basis.held = WeakUnknowns(model, {}, weakPivotTolerance);
  ASSERT_EQ(basis.held.size(), 3u);
  DatumCofactors cofactors(model, basis, {});
  const auto tests = TestObservations(model, cofactors, Noise(model, 9));
  double sum = 0.0;
  for (const ObservationTest& test : tests)
    sum += test.redundancy;
  const double n = static_cast<double>(model.rows.size()), u = model.unknownCount - 0.0;
  EXPECT_NEAR(sum, n - u + 3.0, 1e-9);
  const std::size_t spur = model.rows.size() - 2;
  for (std::size_t row : {spur, spur + 1}) {
    EXPECT_TRUE(tests[row].uncontrolled) << row;
    EXPECT_FALSE(tests[row].w.has_value());
    EXPECT_FALSE(tests[row].mdb.has_value());
    EXPECT_FALSE(tests[row].outlier);
  }
}

TEST(ObservationTests, APlantedBlunderHasTheLargestW) {
  // Observations of a fixed plan network with small noise and 50 mm added to one distance at
  // a time: the largest |w| points at it, and it is flagged an outlier. For these three the
  // largest |v/σ| points at another observation.
  const LinearModel model = PlanNetwork(9, false);
  DatumBasis basis;
  basis.held = {0, 1, 2};
  const std::vector<std::size_t> kept = testing::UnknownsFrom(3, model.unknownCount);
  DatumCofactors cofactors(model, basis, {});
  for (std::size_t blunder : {std::size_t{0}, std::size_t{3}, std::size_t{11}}) {
    std::vector<double> l = Noise(model, 11);
    l[blunder] += 0.050;
    const DenseAdjustment dense = AdjustDensely(model, kept, l);
    const auto tests = TestObservations(model, cofactors, dense.residuals);
    std::size_t largest = 0;
    for (std::size_t i = 0; i < tests.size(); ++i)
      if (tests[i].w && std::fabs(*tests[i].w) > std::fabs(*tests[largest].w)) largest = i;
    EXPECT_EQ(largest, blunder);
    EXPECT_TRUE(tests[blunder].outlier) << blunder;
  }
}

}  // namespace
}  // namespace zradjust
