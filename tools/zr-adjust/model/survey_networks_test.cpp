// Whole adjustments of simulated survey networks of each shape: a plan network of direction
// sets and horizontal distances, a 3D total-station network with zenith angles and heights, and
// a GNSS network with full baseline covariances. Each must recover its truth within a few
// standard deviations with sigma0 near 1; the GNSS network must equal a dense generalised
// least-squares solution computed here.

#include <gtest/gtest.h>

#include <fstream>
#include <memory>
#include <sstream>

#include "tools/zr-adjust/adjustment_run.h"
#include "tools/zr-adjust/dense_test_support.h"
#include "tools/zr-adjust/model/direction_sets.h"
#include "tools/zr-adjust/model/identifier_order.h"
#include "tools/zr-adjust/model/model_builder.h"
#include "tools/zr-adjust/model/survey_simulation.h"
#include "tools/zr-adjust/report_collection.h"
#include "tools/zr-adjust/test_support.h"

namespace zradjust {
namespace {

// A network adjusted as zr-adjust adjusts it, with the standard deviations of its report.
struct SurveyAdjustment {
  SurveyAdjustment(const std::string& text, IdentifierOrder order)
      : network(Read(text)), objects(network, AssignIdentifiers(network, order), model) {
    RunSettings settings;
    settings.correctionScales = objects.CorrectionScales();
    run = RunAdjustment(model, objects.Unknowns(), settings, nullptr);
    report = CollectReport(network, objects, model, run, settings, "t.net");
  }
  Network network;
  ZR::AdjustmentModel model;
  ModelObjects objects;
  RunResult run;
  AdjustmentReport report;
};

// Every unknown coordinate within four standard deviations of the truth, sigma0 near 1, and
// every set's orientation near its true value.
void ExpectTruthRecovered(SurveyAdjustment& adjustment, const SurveySimulation& simulation,
                          double orientationBound) {
  ASSERT_TRUE(adjustment.run.converged && adjustment.run.inverseComputed);
  EXPECT_NEAR(adjustment.report.sigma0.value_or(0.0), 1.0, 0.35);
  int checked = 0;
  for (std::size_t p = 0; p < adjustment.network.points.size(); ++p) {
    const PointResult& point = adjustment.report.points[p];
    for (int axis = 0; axis < adjustment.network.points[p].CoordinateCount(); ++axis) {
      double error = point.coordinate[axis] - simulation.truth[p][axis];
      if (point.fixed[axis]) {
        EXPECT_EQ(error, 0.0);
        continue;
      }
      ASSERT_TRUE(point.deviation[axis].has_value()) << point.name << axis;
      EXPECT_LT(std::fabs(error), 4.0 * *point.deviation[axis]) << point.name << " axis " << axis;
      ++checked;
    }
  }
  EXPECT_GT(checked, 0);
  for (std::size_t set = 0; set < adjustment.network.directionSets.size(); ++set) {
    const std::string& name = adjustment.network.directionSets[set].name;
    double error =
        WrapAngle(adjustment.objects.Orientation(set).Value - simulation.orientation.at(name));
    EXPECT_LT(std::fabs(error), orientationBound) << name;
  }
}

TEST(SurveyNetworks, PlanNetworkOfDirectionSetsAndDistancesRecoversTheTruth) {
  for (unsigned seed : {1u, 2u, 3u}) {
    SurveySimulation s(seed, AngleUnit::Gon, 0.5);
    s.Point("K1", 0, 0, 0, true, true);
    s.Point("K2", 1200, 50, 0, true, true);
    s.Point("K3", 1150, 1100, 0, true, true);
    s.Point("K4", -50, 1000, 0, true, true);
    const double news[6][2] = {{300, 250}, {800, 300}, {950, 700},
                               {500, 800}, {200, 600}, {600, 550}};
    for (int n = 0; n < 6; ++n)
      s.Point("N" + std::to_string(n + 1), news[n][0], news[n][1], 0, false, true);
    const std::vector<std::pair<std::string, std::vector<std::string>>> sets = {
        {"K1", {"K2", "N1", "N2", "N5", "K4"}}, {"K2", {"K1", "N2", "N3", "K3"}},
        {"K3", {"K2", "N3", "N4", "K4"}},       {"K4", {"K3", "N4", "N5", "K1"}},
        {"N6", {"N1", "N2", "N3", "N4", "N5"}}, {"N1", {"K1", "N2", "N6", "N5"}}};
    for (std::size_t k = 0; k < sets.size(); ++k) {
      for (const std::string& target : sets[k].second)
        s.Direction("S" + sets[k].first, sets[k].first, target, 0.0003, k % 2 == 0);
    }
    for (auto [from, to] : std::vector<std::pair<const char*, const char*>>{{"K1", "N1"},
                                                                            {"K2", "N2"},
                                                                            {"K3", "N3"},
                                                                            {"K4", "N5"},
                                                                            {"N6", "N1"},
                                                                            {"N6", "N2"},
                                                                            {"N6", "N3"},
                                                                            {"N6", "N4"},
                                                                            {"N6", "N5"},
                                                                            {"N1", "N2"},
                                                                            {"N3", "N4"},
                                                                            {"N4", "N5"}})
      s.HorizontalDistance(from, to, 0.002, 2.0);
    s.Angle("N4", "K4", "K3", 0.0005);
    s.Azimuth("N2", "N3", 0.001);
    // The sets with even index straddle the zero of the circle: their first approximation
    // must come out near the truth all the same.
    Network network = Read(s.text);
    std::vector<double> approximations = ApproximateOrientations(network);
    for (std::size_t set = 0; set < network.directionSets.size(); ++set) {
      EXPECT_LT(std::fabs(WrapAngle(approximations[set] -
                                    s.orientation.at(network.directionSets[set].name))),
                0.005);
    }
    for (IdentifierOrder order : {IdentifierOrder::Input, IdentifierOrder::ReverseCuthillMcKee}) {
      SurveyAdjustment adjustment(s.text, order);
      ExpectTruthRecovered(adjustment, s, 2e-5);
      // Observed minus adjusted of a reading near 400 gon is the small wrapped residual.
      for (const ObservationResult& observation : adjustment.report.observations)
        EXPECT_LT(std::fabs(observation.residual), 4.0 * observation.sigma) << observation.line;
    }
  }
}

TEST(SurveyNetworks, TotalStationNetworkWithZenithAnglesAndHeightsRecoversTheTruth) {
  for (unsigned seed : {4u, 5u, 6u}) {
    SurveySimulation s(seed, AngleUnit::Degree, 0.3);
    s.Point("T1", 0, 0, 100, true);
    s.Point("T2", 420, 30, 112, true);
    s.Point("T3", 380, 450, 135, false);
    s.Point("P1", 150, 200, 118, false);
    s.Point("P2", 300, 250, 122.5, false);
    s.Point("P3", 60, 380, 160, false);
    s.Point("P4", 330, 280, 190, false);  // a steep sight from P2: 30 m away, 67 m up
    const std::vector<std::pair<std::string, std::vector<std::string>>> sets = {
        {"T1", {"T2", "P1", "P3", "T3"}},
        {"T2", {"T1", "P1", "P2", "T3"}},
        {"P2", {"T2", "T3", "P1", "P4", "P3"}},
        {"P1", {"T1", "P3", "P2"}}};
    double instrument = 1.45;
    for (std::size_t k = 0; k < sets.size(); ++k) {
      const std::string& station = sets[k].first;
      for (const std::string& target : sets[k].second) {
        double prism = 1.3 + 0.1 * static_cast<double>(target.size() + k);
        s.Direction("S" + station, station, target, 0.0001, k == 1);
        s.Zenith(station, target, 0.0002, instrument, prism);
        s.SlopeDistance(station, target, 0.001, 1.5, instrument, prism);
      }
      instrument += 0.07;
    }
    for (IdentifierOrder order : {IdentifierOrder::Input, IdentifierOrder::ReverseCuthillMcKee}) {
      SurveyAdjustment adjustment(s.text, order);
      ExpectTruthRecovered(adjustment, s, 2e-5);
    }
  }
}

// The GNSS network below: G1 fixed, baselines with covariances of a few millimetres and
// correlations up to 0.5 between the components.
SurveySimulation GnssNetwork(unsigned seed) {
  SurveySimulation s(seed, AngleUnit::Gon, 0.2);
  const double points[6][3] = {{4000, 1000, 300}, {6500, 1200, 340}, {5200, 3900, 410},
                               {2500, 3500, 280}, {4700, 2300, 350}, {7200, 3300, 390}};
  for (int p = 0; p < 6; ++p) {
    s.Point("G" + std::to_string(p + 1), points[p][0], points[p][1], points[p][2], p == 0);
  }
  const int baselines[][2] = {{1, 2}, {1, 4}, {1, 5}, {2, 5}, {2, 6}, {3, 5},
                              {3, 6}, {3, 4}, {4, 5}, {5, 6}, {2, 3}};
  int k = 0;
  for (auto [from, to] : baselines) {
    double sx = 0.002 + 0.0003 * k, sy = 0.0025, sz = 0.005 - 0.0002 * k;
    double rxy = 0.3 - 0.05 * k, rxz = -0.4 + 0.08 * k, ryz = 0.5 - 0.04 * k;
    const double c[6] = {sx * sx, rxy * sx * sy, rxz * sx * sz, sy * sy, ryz * sy * sz, sz * sz};
    s.Vector("G" + std::to_string(from), "G" + std::to_string(to), c);
    ++k;
  }
  return s;
}

// x = (AᵀC⁻¹A)⁻¹AᵀC⁻¹l for the baselines of network, dense, on the coordinates of the points
// other than the first (fixed) one; with its cofactors and sigma0.
struct DenseSolution {
  std::vector<double> x;
  std::vector<std::vector<double>> q;
  double sigma0 = 0.0;
  std::vector<double> residuals;
};

DenseSolution SolveDense(const Network& network) {
  std::size_t u = 3 * (network.points.size() - 1), n = network.observations.size();
  std::vector<std::vector<double>> normal(u, std::vector<double>(u, 0.0));
  std::vector<double> right(u, 0.0);
  std::vector<std::vector<double>> rows(n, std::vector<double>(u, 0.0));
  std::vector<double> reduced(n);
  for (std::size_t i = 0; i < n; ++i) {
    const SurveyObservation& o = network.observations[i];
    reduced[i] = o.observed;
    // Xt − Xf = observed, the fixed point's coordinate moved to the right-hand side.
    const double fixed = network.points[0].approximate[o.axis];
    if (o.to > 0) {
      rows[i][3 * (o.to - 1) + static_cast<std::size_t>(o.axis)] = 1.0;
    } else {
      reduced[i] -= fixed;
    }
    if (o.from > 0) {
      rows[i][3 * (o.from - 1) + static_cast<std::size_t>(o.axis)] = -1.0;
    } else {
      reduced[i] += fixed;
    }
  }
  std::vector<std::vector<double>> weights;  // C⁻¹ of each baseline
  for (const BaselineCovariance& c : network.baselineCovariances) {
    const double* v = c.upper;
    weights.push_back({});
    auto w = testing::DenseInverse({{v[0], v[1], v[2]}, {v[1], v[3], v[4]}, {v[2], v[4], v[5]}});
    for (auto& row : w)
      weights.back().insert(weights.back().end(), row.begin(), row.end());
  }
  for (std::size_t i = 0; i < n; ++i) {
    for (std::size_t j = 0; j < n; ++j) {
      if (i / 3 != j / 3) continue;
      double p = weights[i / 3][(i % 3) * 3 + j % 3];
      for (std::size_t a = 0; a < u; ++a) {
        right[a] += rows[i][a] * p * reduced[j];
        for (std::size_t b = 0; b < u; ++b)
          normal[a][b] += rows[i][a] * p * rows[j][b];
      }
    }
  }
  DenseSolution solution;
  solution.q = testing::DenseInverse(normal);
  solution.x.assign(u, 0.0);
  for (std::size_t a = 0; a < u; ++a) {
    for (std::size_t b = 0; b < u; ++b)
      solution.x[a] += solution.q[a][b] * right[b];
  }
  solution.residuals.assign(n, 0.0);
  for (std::size_t i = 0; i < n; ++i) {
    double adjusted = 0.0;
    for (std::size_t a = 0; a < u; ++a)
      adjusted += rows[i][a] * solution.x[a];
    solution.residuals[i] = reduced[i] - adjusted;
  }
  double squares = 0.0;
  for (std::size_t i = 0; i < n; ++i) {
    for (std::size_t j = 0; j < n; ++j) {
      if (i / 3 == j / 3)
        squares +=
            solution.residuals[i] * weights[i / 3][(i % 3) * 3 + j % 3] * solution.residuals[j];
    }
  }
  solution.sigma0 = std::sqrt(squares / static_cast<double>(n - u));
  return solution;
}

TEST(SurveyNetworks, GnssNetworkWithFullCovariancesEqualsDenseGeneralisedLeastSquares) {
  for (unsigned seed : {7u, 8u, 9u}) {
    SurveySimulation s = GnssNetwork(seed);
    SurveyAdjustment adjustment(s.text, IdentifierOrder::ReverseCuthillMcKee);
    ExpectTruthRecovered(adjustment, s, 0.0);
    DenseSolution dense = SolveDense(adjustment.network);
    const AdjustmentReport& report = adjustment.report;
    EXPECT_NEAR(*report.sigma0, dense.sigma0, 1e-9 * dense.sigma0);
    for (std::size_t p = 1; p < report.points.size(); ++p) {
      for (int axis = 0; axis < 3; ++axis) {
        std::size_t k = 3 * (p - 1) + static_cast<std::size_t>(axis);
        EXPECT_NEAR(report.points[p].coordinate[axis], dense.x[k], 1e-8) << p << axis;
        EXPECT_NEAR(*report.points[p].deviation[axis], dense.sigma0 * std::sqrt(dense.q[k][k]),
                    1e-7 * dense.sigma0 * std::sqrt(dense.q[k][k]))
            << p << axis;
      }
    }
    // Residuals in the baselines' own components DX, DY, DZ.
    for (std::size_t i = 0; i < report.observations.size(); ++i)
      EXPECT_NEAR(report.observations[i].residual, dense.residuals[i], 1e-8) << i;
    // The statistics see the baselines un-whitened: ±1 rows, one group of three with C.
    LinearModel linear = adjustment.objects.Linearise();
    ASSERT_EQ(linear.groups.size(), adjustment.network.baselineCovariances.size());
    for (std::size_t g = 0; g < linear.groups.size(); ++g) {
      const ObservationGroup& group = linear.groups[g];
      EXPECT_EQ(group.first, 3 * g);
      EXPECT_EQ(group.size, 3);
      EXPECT_EQ(group.covariance[0][1], adjustment.network.baselineCovariances[g].upper[1]);
      EXPECT_EQ(group.covariance[2][1], adjustment.network.baselineCovariances[g].upper[4]);
      for (std::size_t r = 3 * g; r < 3 * g + 3; ++r) {
        for (const DesignEntry& entry : linear.rows[r])
          EXPECT_EQ(std::fabs(entry.partial), 1.0);
      }
    }
  }
}

TEST(SurveyNetworks, TraverseExampleRecoversItsTruth) {
  std::ifstream networkFile(std::string(ZR_EXAMPLES) + "/traverse.net");
  std::ifstream truthFile(std::string(ZR_EXAMPLES) + "/traverse.truth");
  ASSERT_TRUE(networkFile && truthFile);
  std::stringstream text;
  text << networkFile.rdbuf();
  SurveyAdjustment adjustment(text.str(), IdentifierOrder::ReverseCuthillMcKee);
  ASSERT_TRUE(adjustment.run.converged && adjustment.run.inverseComputed);
  EXPECT_NEAR(adjustment.report.sigma0.value_or(0.0), 1.0, 0.35);
  std::string keyword, name;
  std::size_t checked = 0;
  for (std::string line; std::getline(truthFile, line);) {
    std::istringstream fields(line);
    double x, y, z;
    if (!(fields >> keyword >> name >> x >> y >> z) || keyword != "point") continue;
    for (const PointResult& point : adjustment.report.points) {
      if (point.name != name) continue;
      const double truth[3] = {x, y, z};
      for (int axis = 0; axis < 3; ++axis) {
        double error = point.coordinate[axis] - truth[axis];
        EXPECT_LT(std::fabs(error), point.fixed[axis] ? 1e-9 : 4.0 * *point.deviation[axis])
            << name << " axis " << axis;
      }
      ++checked;
    }
  }
  EXPECT_EQ(checked, adjustment.network.points.size());
}

TEST(SurveyNetworks, OrientationCorrectionsCountAtTheEndOfTheLongestSight) {
  // All points fixed: only the orientation moves. The readings fit ω = 0.01 rad to B and
  // ω = 0.01 − 2e-5 rad to C, 500 m away. The approximation is their plain mean, the
  // adjustment their weighted mean with weights 4 : 1, so ω moves by 6e-6 rad: 3 mm at the
  // end of the 500 m sight, far above the 1e-5 m tolerance, although 6e-6 rad is not.
  const double omega = 0.01;
  char text[512];
  std::snprintf(text, sizeof text,
                "angles rad\npoint A 0 0\npoint B 0 300\npoint C 500 0\nfix A\nfix B\nfix C\n"
                "dir S A B %.12f 0.00001\ndir S A C %.12f 0.00002\n",
                2.0 * std::numbers::pi - omega, std::numbers::pi / 2.0 - omega + 2e-5);
  Network network = Read(text);
  ZR::AdjustmentModel model;
  ModelObjects objects(network, AssignIdentifiers(network, IdentifierOrder::Input), model);
  ASSERT_EQ(objects.CorrectionScales(), (std::vector<double>{500.0}));
  EXPECT_NEAR(objects.Orientation(0).Value, omega - 1e-5, 1e-12);
  RunSettings settings;
  settings.correctionScales = objects.CorrectionScales();
  settings.wantInverse = false;
  RunResult run = RunAdjustment(model, objects.Unknowns(), settings, nullptr);
  EXPECT_NEAR(objects.Orientation(0).Value, omega - 4e-6, 1e-12);
  ASSERT_EQ(run.iterations.size(), 2u);
  EXPECT_NEAR(run.iterations[0].maxCorrection, 500.0 * 6e-6, 1e-9);
  EXPECT_LT(run.iterations[1].maxCorrection, 1e-9);
}

}  // namespace
}  // namespace zradjust
