#include "tools/zr-adjust/program.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "tools/zr-adjust/datum/datum_test_support.h"

namespace zradjust {
namespace {

using ::testing::HasSubstr;

struct ProgramRun {
  Outcome outcome;
  std::string messages;
};

ProgramRun Adjust(const std::string& text, Options options = {}) {
  options.networkFile = "t.net";
  options.quiet = true;
  ReadResult read = ReadNetwork(text, "t.net");
  EXPECT_TRUE(read.Ok());
  std::ostringstream messages;
  ProgramRun run;
  run.outcome = AdjustNetwork(options, read, messages, nullptr, nullptr);
  run.messages = messages.str();
  return run;
}

std::string Parameters(const DatumResult& datum) {
  std::string names;
  for (const std::string& name : datum.parameters)
    names += (names.empty() ? "" : " ") + name;
  return names;
}

// Linear observations, so that one step reaches the least-squares solution and the reference
// is exact: the approximate values plus the minimum-norm corrections N⁺b.
TEST(AdjustNetwork, FreeNetworksComeOutInTheMinimumTraceDatum) {
  struct Case {
    const char* name;
    const char* text;
    const char* parameters;
  } cases[] = {
      {"levelling: the program holds a datum of its own",
       "height A 100.000\nheight B 101.230\nheight C 99.870\nheight D 100.550\ndatum free\n"
       "level A B 1.2347 0.001\nlevel B C -1.3569 0.001\nlevel C D 0.6811 0.0015\n"
       "level D A -0.5552 0.001\nlevel A C -0.1238 0.002\n",
       "tz"},
      {"GNSS vectors and levelling: the library's seven conditions",
       "point A 0 0 0\npoint B 100.02 4.99 2.01\npoint C 29.97 80.03 -3.98\nheight H 1.5\n"
       "datum free\nvector A B 100 5 2 0.003\nvector B C -70.004 75.002 -6.001 0.003\n"
       "vector C A -29.998 -80.001 3.997 0.004\nlevel A H 1.502 0.001\nlevel H C -5.503 0.001\n",
       "tx ty tz"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    ProgramRun run = Adjust(c.text);
    ASSERT_TRUE(run.outcome.report) << run.messages;
    EXPECT_EQ(run.outcome.exitStatus, exitConverged);
    const AdjustmentReport& report = *run.outcome.report;
    EXPECT_TRUE(report.datum.free);
    EXPECT_EQ(Parameters(report.datum), c.parameters);
    EXPECT_EQ(report.datum.defect, static_cast<int>(report.datum.parameters.size()));
    DatumCase reference = FromText(c.text);
    std::vector<double> corrections = MinimumNormSolution(reference);
    Dense cofactors = PseudoInverse(reference);
    ASSERT_TRUE(report.sigma0);
    for (std::size_t u = 0; u < reference.unknowns.size(); ++u) {
      const UnknownRef& ref = reference.unknowns[u];
      const PointResult& point = report.points[ref.index];
      EXPECT_NEAR(point.coordinate[ref.axis], reference.approximate[u] + corrections[u], 1e-8)
          << point.name << " axis " << ref.axis;
      // The standard deviations of the minimum-trace datum: sigma0·sqrt(N⁺ᵢᵢ).
      ASSERT_TRUE(point.deviation[ref.axis]) << point.name;
      EXPECT_NEAR(*point.deviation[ref.axis], *report.sigma0 * std::sqrt(cofactors[u][u]),
                  1e-6 * *point.deviation[ref.axis])
          << point.name << " axis " << ref.axis;
    }
  }
}

TEST(AdjustNetwork, ExampleFreeNetworkKeepsItsDatumPointsCentred) {
  std::ifstream file(ZR_EXAMPLES "/monitoring-free.net");
  std::stringstream text;
  text << file.rdbuf();
  ProgramRun run = Adjust(text.str());
  ASSERT_TRUE(run.outcome.report) << run.messages;
  const AdjustmentReport& report = *run.outcome.report;
  Network network = Read(text.str());
  // GNSS vectors fix orientation and scale, the observed height of BM1 the heights: only the
  // plan translations are free, and every point is a datum point.
  EXPECT_EQ(Parameters(report.datum), "tx ty");
  EXPECT_EQ(report.datum.points.size(), network.points.size());
  double shift[3] = {0.0, 0.0, 0.0};
  for (std::size_t p = 0; p < network.points.size(); ++p) {
    EXPECT_TRUE(report.points[p].datumPoint);
    const SurveyPoint& point = network.points[p];
    for (int axis = 0; axis < point.CoordinateCount(); ++axis) {
      int motionAxis = point.kind == PointKind::Height ? 2 : axis;
      shift[motionAxis] += report.points[p].coordinate[axis] - point.approximate[axis];
    }
  }
  EXPECT_NEAR(shift[0], 0.0, 1e-9);
  EXPECT_NEAR(shift[1], 0.0, 1e-9);
}

TEST(AdjustNetwork, RefusesAnUndefinedDatumBeforeIterating) {
  const char* plan =
      "point A 0 0 0\npoint B 100 0 0\npoint C 0 100 0\npoint P 40 40 0\nfix A\nfix B\nfix C\n"
      "dist A P 56.5685 0.001\ndist B P 72.111 0.001\ndist C P 72.111 0.001\n";
  struct Case {
    const char* name;
    const char* text;
    double damping;
    int status;
    const char* message;
  } cases[] = {
      {"plan network as 3D with Z = 0", plan, 0.0, exitBadInput,
       "t.net: the datum of the network is not defined:\n  point P: Z is not determined"},
      {"the same with damping: adjusted, with a warning", plan, 1e-3, exitConverged,
       "warning: t.net: only the damping holds what follows"},
      {"free levelling without `datum free`", "height A 1\nheight B 2\nlevel A B 1 0.001\n", 0.0,
       exitBadInput, "points A, B: translation in Z is free; fix a height, or use `datum free`"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Options options;
    options.damping = c.damping;
    ProgramRun run = Adjust(c.text, options);
    EXPECT_EQ(run.outcome.exitStatus, c.status);
    EXPECT_EQ(run.outcome.report.has_value(), c.status != exitBadInput);
    EXPECT_THAT(run.messages, HasSubstr(c.message));
  }
}

TEST(AdjustNetwork, ASingle3DPointOfAFreeNetworkAdjustsWithoutTheLibrarysConditions) {
  // The library's conditions divide by the spread of the 3D points: NaN for a single one.
  ProgramRun run =
      Adjust("point A 1 2 3\ndatum free\ncoord A x 1 0.1\ncoord A y 2 0.1\ncoord A z 3.01 0.1\n");
  ASSERT_TRUE(run.outcome.report) << run.messages;
  EXPECT_EQ(run.outcome.exitStatus, exitConverged);
  EXPECT_NEAR(run.outcome.report->points[0].coordinate[2], 3.01, 1e-12);
}

TEST(AdjustNetwork, ARejectedFactorisationGivesExit3AndNoCoordinates) {
  // Weights 1e24 and 1e-4 side by side: every unknown is determined, but the library's
  // factorisation compares its smallest pivot with its largest (below 1e-20: rejected) and
  // applies the right-hand side as the correction.
  struct Case {
    const char* name;
    const char* observedC;
  } cases[] = {
      {"the heavy unknown's misclosure is zero: light ones are wrong", "2.0"},
      {"a misclosure on it: corrections of 1e21 m, clamped", "2.001"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Options options;
    options.order = IdentifierOrder::Input;
    ProgramRun run =
        Adjust(std::string("height B 1\nheight C 2\nheight D 3\ncoord B h 1.01 100\n") +
                   "coord C h " + c.observedC + " 1e-12\ncoord D h 3.02 100\n",
               options);
    EXPECT_EQ(run.outcome.exitStatus, exitNumericalFailure);
    EXPECT_FALSE(run.outcome.report);
    EXPECT_THAT(run.messages, HasSubstr("the adjustment failed numerically in iteration 1: the "
                                        "corrections do not solve the normal equations"));
  }
  // The same network with SIGMAs a surveyor would use adjusts.
  Options options;
  options.order = IdentifierOrder::Input;
  ProgramRun fine = Adjust(
      "height B 1\nheight C 2\nheight D 3\ncoord B h 1.01 0.01\n"
      "coord C h 2.001 0.001\ncoord D h 3.02 0.01\n",
      options);
  EXPECT_EQ(fine.outcome.exitStatus, exitConverged) << fine.messages;
}

}  // namespace
}  // namespace zradjust
