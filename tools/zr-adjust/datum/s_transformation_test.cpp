#include "tools/zr-adjust/datum/s_transformation.h"

#include <gtest/gtest.h>

#include "tools/zr-adjust/datum/datum_analysis.h"
#include "tools/zr-adjust/datum/datum_test_support.h"

namespace zradjust {
namespace {

DatumCase Levelling() {
  return FromText(
      "height A 100.000\nheight B 101.230\nheight C 99.870\nheight D 100.550\ndatum free\n"
      "level A B 1.2347 0.001\nlevel B C -1.3569 0.001\nlevel C D 0.6811 0.0015\n"
      "level D A -0.5552 0.001\nlevel A C -0.1238 0.002\n");
}

DatumCase PlanDistances() {
  PlanBuilder builder;
  const double p[5][2] = {{0, 0}, {120, 15}, {70, 110}, {-20, 80}, {50, 40}};
  for (int k = 0; k < 5; ++k)
    builder.Point("Q" + std::to_string(k), p[k][0], p[k][1]);
  for (std::size_t a = 0; a < 5; ++a)
    for (std::size_t b = a + 1; b < 5; ++b)
      builder.HorizontalDistance(a, b, 0.002);
  DatumCase c =
      builder.Build({0.004, -0.003, 0.002, 0.001, -0.005, 0.003, 0.0, -0.002, 0.004, 0.001});
  c.network.datumFree = true;
  return c;
}

TEST(MinimumTraceTransform, EqualsTheMinimumNormSolutionWhenEveryPointIsADatumPoint) {
  struct Case {
    const char* name;
    DatumCase network;
  } cases[] = {{"levelling: a shift", Levelling()},
               {"plan distances: shifts and a rotation", PlanDistances()}};
  for (Case& c : cases) {
    SCOPED_TRACE(c.name);
    const DatumCase& net = c.network;
    DatumAnalysis analysis = AnalyseDatum(net.network, net.unknowns, net.linear, false);
    ASSERT_FALSE(analysis.refused);
    // A solution in a datum of its own: the minimal datum held.
    std::vector<double> held = HeldSolution(net, analysis.basis.held);
    std::vector<double> x(held.size());
    for (std::size_t k = 0; k < x.size(); ++k)
      x[k] = net.approximate[k] + held[k];
    STransformResult result = MinimumTraceTransform(x, net.approximate, analysis.basis.motions,
                                                    analysis.basis.datumUnknowns);
    ASSERT_FALSE(result.singular);
    std::vector<double> reference = MinimumNormSolution(net);
    for (std::size_t k = 0; k < x.size(); ++k)
      EXPECT_NEAR(result.values[k] - net.approximate[k], reference[k], 1e-9) << k;
  }
}

TEST(MinimumTraceTransform, MovesOnlyAlongTheDefectAndCentresTheDatumPoints) {
  DatumCase net = Levelling();
  DatumAnalysis analysis = AnalyseDatum(net.network, net.unknowns, net.linear, false);
  std::vector<double> x = {100.31, 101.52, 100.17, 100.85};
  struct Case {
    const char* name;
    std::vector<bool> datum;
  } cases[] = {{"A and C", {true, false, true, false}}, {"B only", {false, true, false, false}}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    STransformResult result =
        MinimumTraceTransform(x, net.approximate, analysis.basis.motions, c.datum);
    double shift = result.values[0] - x[0], datumSum = 0.0;
    for (std::size_t k = 0; k < x.size(); ++k) {
      EXPECT_NEAR(result.values[k] - x[k], shift, 1e-12);  // a common shift only
      if (c.datum[k]) datumSum += result.values[k] - net.approximate[k];
    }
    EXPECT_NEAR(datumSum, 0.0, 1e-12);
  }
  STransformResult none = MinimumTraceTransform(x, net.approximate, analysis.basis.motions,
                                                {false, false, false, false});
  EXPECT_TRUE(none.singular);
  EXPECT_EQ(none.values, x);
}

}  // namespace
}  // namespace zradjust
