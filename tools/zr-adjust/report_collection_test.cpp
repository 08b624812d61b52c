#include "tools/zr-adjust/report_collection.h"

#include <gtest/gtest.h>

#include <cmath>
#include <sstream>

#include "tools/zr-adjust/model/identifier_order.h"
#include "tools/zr-adjust/test_support.h"

namespace zradjust {
namespace {

// A model with its objects, built and run as zr-adjust does.
struct Adjustment {
  explicit Adjustment(const std::string& text, double sigma0 = 1.0)
      : network(Read(text)),
        objects(network, AssignIdentifiers(network, IdentifierOrder::ReverseCuthillMcKee), model) {
    model.weightScale = sigma0 * sigma0;
  }
  AdjustmentReport Run(const CollectionInputs& inputs = {}) {
    RunSettings settings;
    run = RunAdjustment(model, objects.Unknowns(), settings, nullptr);
    return CollectReport(network, objects, model, run, settings, "t.net", inputs);
  }
  Network network;
  ZR::AdjustmentModel model;
  ModelObjects objects;
  RunResult run;
};

std::string SmallNetwork() {
  return "point F1 1000 2000 100\npoint F2 1100 2000 101\npoint N1 1049.8 2080.3 102.4\n"
         "point N2 1050.3 1920.2 99.1\nheight BM1 100.5\nfix F1\nfix F2\n"
         "dist F1 N1 94.361 0.002\ndist F2 N1 94.3461 0.002\ndist F1 N2 94.3441 0.002\n"
         "dist F2 N2 94.361 0.002\ndist N1 N2 160.0291 0.002\n"
         "vector F1 N1 50.001 80.000 2.000 0.003\nlevel F1 BM1 0.500 0.001\n"
         "level BM1 N2 -1.501 0.001\ncoord BM1 h 100.501 0.002\n";
}

TEST(ReportCollection, CofactorsEqualTheLibrarysInverseOfAFixedNetwork) {
  // The library's normalInverse (a full inverse of its own N at the last step) against the
  // host's selected inverse at the final values: every variance and the covariance of X and
  // Y of each point, with sigma0² for the estimated variance factor.
  Adjustment adjustment(SmallNetwork());
  const AdjustmentReport report = adjustment.Run();
  ASSERT_TRUE(adjustment.run.converged && adjustment.run.inverseComputed);
  const double variance = report.sigma0.value() * report.sigma0.value();
  auto libraryCofactor = [&](const ZR::VOValue& a, const ZR::VOValue& b) {
    ValueHandle ka, kb;
    ka.id = a.GetId();
    kb.id = b.GetId();
    return GetElement(adjustment.model.normalInverse, adjustment.model.unknowns.at(ka),
                      adjustment.model.unknowns.at(kb));
  };
  int compared = 0;
  for (std::size_t p = 0; p < report.points.size(); ++p) {
    const PointResult& point = report.points[p];
    for (int axis = 0; axis < adjustment.network.points[p].CoordinateCount(); ++axis) {
      if (point.fixed[axis]) {
        EXPECT_FALSE(point.deviation[axis].has_value());
        continue;
      }
      const ZR::VOValue& value = adjustment.objects.Coordinate(p, axis);
      const double expected = std::sqrt(variance * libraryCofactor(value, value));
      EXPECT_NEAR(point.deviation[axis].value(), expected, 1e-6 * expected) << point.name << axis;
      ++compared;
    }
    if (point.hasCovarianceXY) {
      const double xy = variance * libraryCofactor(adjustment.objects.Coordinate(p, 0),
                                                   adjustment.objects.Coordinate(p, 1));
      EXPECT_NEAR(point.covarianceXY, xy, 1e-6 * point.covarianceXX) << point.name;
    }
  }
  EXPECT_EQ(compared, 7);
}

TEST(ReportCollection, StatisticsOfTheRunFollowTheRules) {
  // Σr_i = r; sigma0 is the library's; the global test brackets r·sigma0²; the confidence
  // factor √(2·F(2, r)) for the estimated variance factor, 2.4477 for the known one; no figure
  // changes with --sigma0.
  Adjustment one(SmallNetwork()), three(SmallNetwork(), 3.0);
  const AdjustmentReport a = one.Run(), b = three.Run();
  double sum = 0.0;
  for (const ObservationResult& observation : a.observations)
    sum += observation.redundancy;
  EXPECT_EQ(a.redundancy, 11 - 7);
  EXPECT_NEAR(sum, 4.0, 1e-6);
  EXPECT_EQ(a.sigma0.value(), one.run.iterations.back().sigma0);
  ASSERT_TRUE(a.globalTest.has_value());
  EXPECT_NEAR(a.globalTest->value, 4.0 * *a.sigma0 * *a.sigma0, 1e-12);
  EXPECT_NEAR(a.globalTest->lower, 0.484, 5e-4);  // χ²(4) at 2.5 % and 97.5 %
  EXPECT_NEAR(a.globalTest->upper, 11.143, 5e-4);
  EXPECT_NEAR(a.confidenceFactor, std::sqrt(2.0 * 6.944), 5e-4);  // F(2, 4) at 95 %
  EXPECT_NEAR(b.sigma0.value(), a.sigma0.value(), 1e-9 * *a.sigma0);
  for (std::size_t p = 0; p < a.points.size(); ++p)
    for (int axis = 0; axis < 3; ++axis)
      if (a.points[p].deviation[axis]) {
        EXPECT_NEAR(*b.points[p].deviation[axis], *a.points[p].deviation[axis],
                    1e-9 * *a.points[p].deviation[axis]);
      }
  for (std::size_t i = 0; i < a.observations.size(); ++i) {
    EXPECT_NEAR(b.observations[i].redundancy, a.observations[i].redundancy, 1e-9);
    EXPECT_NEAR(b.observations[i].w.value_or(0.0), a.observations[i].w.value_or(0.0), 1e-6);
  }
  ASSERT_EQ(a.relative.size(), 7u);  // F1N1 F2N1 F1N2 F2N2 N1N2 F1BM1 BM1N2
  EXPECT_TRUE(a.relative[4].ellipse && a.relative[4].distanceDeviation);
  EXPECT_FALSE(a.relative[5].ellipse || a.relative[5].distanceDeviation);

  CollectionInputs known;
  known.varianceFactor = VarianceFactor::Known;
  Adjustment knownRun(SmallNetwork());
  const AdjustmentReport k = knownRun.Run(known);
  EXPECT_NEAR(k.confidenceFactor, 2.4477, 5e-5);
  const double ratio = *k.points[2].deviation[0] / *a.points[2].deviation[0];
  EXPECT_NEAR(ratio, 1.0 / *a.sigma0, 1e-9);
}

TEST(ReportCollection, NoRedundancyUsesTheKnownVarianceFactor) {
  // An open levelling line: r = 0, sigma0 undefined, the SIGMAs taken as true (the forced
  // known factor said so), every observation uncontrolled, deviations the propagated SIGMAs.
  Adjustment line(
      "height A 100\nheight B 101\nheight C 102\nfix A\nlevel A B 1.002 0.003\n"
      "level B C 0.998 0.004\n");
  const AdjustmentReport report = line.Run();
  EXPECT_EQ(report.redundancy, 0);
  EXPECT_FALSE(report.sigma0.has_value());
  EXPECT_FALSE(report.globalTest.has_value());
  EXPECT_EQ(report.varianceFactor, VarianceFactor::Known);
  EXPECT_TRUE(report.varianceFactorForced);
  EXPECT_NEAR(report.points[1].deviation[0].value(), 0.003, 1e-12);
  EXPECT_NEAR(report.points[2].deviation[0].value(), 0.005, 1e-12);
  for (const ObservationResult& observation : report.observations) {
    EXPECT_TRUE(observation.uncontrolled);
    EXPECT_FALSE(observation.w.has_value() || observation.mdb.has_value());
  }
  EXPECT_TRUE(report.flagged.empty());
}

TEST(ReportCollection, APlantedBlunderIsFlaggedFirst) {
  // The simulated network with 50 mm added to one distance: the flagged list starts with it.
  const SimulatedNetwork simulated = SimulateNetwork(12, 4, 14, 0.5);
  // The first distance between two new points (P04 and above) gets 50 mm more.
  std::istringstream lines(simulated.text);
  std::string text, from, to;
  bool planted = false;
  for (std::string line; std::getline(lines, line);) {
    std::istringstream fields(line);
    std::string keyword, a, b;
    double distance = 0.0, sigma = 0.0;
    fields >> keyword >> a >> b >> distance >> sigma;
    if (!planted && keyword == "dist" && a >= "P04" && b >= "P04") {
      char replaced[160];
      std::snprintf(replaced, sizeof replaced, "dist %s %s %.6f %.6f", a.c_str(), b.c_str(),
                    distance + 0.05, sigma);
      line = replaced;
      from = a;
      to = b;
      planted = true;
    }
    text += line + "\n";
  }
  ASSERT_TRUE(planted);
  Adjustment adjustment(text);
  const AdjustmentReport report = adjustment.Run();
  ASSERT_FALSE(report.flagged.empty());
  const ObservationResult& first = report.observations[report.flagged[0]];
  EXPECT_EQ(report.points[first.from].name, from);
  EXPECT_EQ(report.points[first.to].name, to);
  EXPECT_EQ(first.type, ObservationType::Distance);
}

}  // namespace
}  // namespace zradjust
