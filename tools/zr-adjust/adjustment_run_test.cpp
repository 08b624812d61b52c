#include "tools/zr-adjust/adjustment_run.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <tuple>

#include "tools/zr-adjust/model/identifier_order.h"
#include "tools/zr-adjust/model/model_builder.h"
#include "tools/zr-adjust/report_collection.h"
#include "tools/zr-adjust/test_support.h"

namespace zradjust {
namespace {

// A model with its objects, built as zr-adjust builds it.
struct Adjustment {
  explicit Adjustment(const std::string& text)
      : network(Read(text)),
        objects(network, AssignIdentifiers(network, IdentifierOrder::ReverseCuthillMcKee), model) {}
  AdjustmentReport Run(const RunSettings& settings = {}) {
    run = RunAdjustment(model, objects.Unknowns(), settings, nullptr);
    return CollectReport(network, objects, model, run, settings, "t.net");
  }
  Network network;
  ZR::AdjustmentModel model;
  ModelObjects objects;
  RunResult run;
};

// Records, at the start of every step, whether the model holds an inverse from the step before.
struct InverseSpy : ZR::VOParticipant {
  explicit InverseSpy(const ZR::AdjustmentModel& model) : model(model) {}
  void BeforeIteration() override {
    heldBefore.push_back(std::any_of(model.normalInverse.rows.begin(),
                                     model.normalInverse.rows.end(),
                                     [](const SparseRow& row) { return !row.Empty(); }));
  }
  const ZR::AdjustmentModel& model;
  std::vector<bool> heldBefore;
};

TEST(NetworkObservation, ComputesTheContractsFormulas) {
  // Values where the order of the sum matters in the last bit.
  ZR::VOValue from[3] = {{1, 0.5}, {2, 0.25}, {3, 0.125}};
  ZR::VOValue to[3] = {{4, 1e8 + 0.5}, {5, 1.25}, {6, 1.125}};
  ValueHandle f[3], t[3];
  double d[3];
  for (int axis = 0; axis < 3; ++axis) {
    f[axis] = {&from[axis], from[axis].GetId()};
    t[axis] = {&to[axis], to[axis].GetId()};
    d[axis] = to[axis].Value - from[axis].Value;
  }
  double c = std::sqrt((d[0] * d[0] + d[1] * d[1]) + d[2] * d[2]);
  std::map<ValueHandle, double> distancePartials;
  for (int axis = 0; axis < 3; ++axis) {
    distancePartials[t[axis]] = d[axis] / c;
    distancePartials[f[axis]] = -(d[axis] / c);
  }
  struct Case {
    ObservationType type;
    double computed;
    std::map<ValueHandle, double> partials;
  };
  const Case cases[] = {
      {ObservationType::Distance, c, distancePartials},
      {ObservationType::VectorX, d[0], {{f[0], -1.0}, {t[0], 1.0}}},
      {ObservationType::Coordinate, from[0].Value, {{f[0], 1.0}}},
  };
  for (const Case& expected : cases) {
    NetworkObservation observation(expected.type, f, t, 1e8, 0.002);
    EXPECT_TRUE(SameBits(observation.GetComputed(), expected.computed));
    EXPECT_TRUE(SameBits(observation.GetDifference(), 1e8 - expected.computed));
    EXPECT_TRUE(SameBits(observation.GetTolerance(), 0.002 * 0.002));
    EXPECT_EQ(observation.GetValue(), 0.0);
    std::map<ValueHandle, double> partials;
    observation.GetPartials(partials);
    EXPECT_EQ(partials, expected.partials);  // exact: == on these doubles compares the bits
  }
}

TEST(ModelObjects, BuildsTheModelAsTheHostContractSays) {
  Network network = Read(
      "point A 0 0 0\nheight H 5\npoint B 10 0 0\nfix A xy\ndatum free\n"
      "dist A B 10 0.01\nvector A B 10 0 0 0.01\nlevel B H 5 0.01\ncoord H h 5 0.01\n");
  std::vector<std::uint64_t> ids = AssignIdentifiers(network, IdentifierOrder::Input);
  {
    ZR::AdjustmentModel model;
    ModelObjects objects(network, ids, model);
    EXPECT_EQ(model.values.size(), 7u);
    EXPECT_EQ(objects.Unknowns().size(), 5u);
    EXPECT_EQ(model.fixedValues.size(), 2u);
    EXPECT_EQ(model.points.size(), 2u);  // the two 3D points, not the height point
    EXPECT_EQ(GetVObjectPointer(ids[2] + 2), &objects.Coordinate(2, 2));  // B's Z
    // Pointer order is file order: the set yields the observations as the file lists them.
    std::vector<ZR::VOObservation*> expected;
    for (std::size_t index = 0; index < 6; ++index)
      expected.push_back(&objects.Observation(index));
    EXPECT_EQ(std::vector(model.observations.begin(), model.observations.end()), expected);
  }
  for (uint64 id = 1; id <= 7; ++id)
    EXPECT_EQ(GetVObjectPointer(id), nullptr);  // gone with the objects
}

TEST(AdjustmentRun, SimulatedNetworksRecoverTheTruthWithSigma0NearOne) {
  // Seeds 11 and 12: four fixed pillars. Seed 21: a free network, whose datum conditions keep
  // the centroid of the approximations, so it finds the truth up to their common shift.
  for (unsigned seed : {11u, 12u, 21u}) {
    const bool free = seed == 21;
    const int fixed = free ? 0 : 4;
    SimulatedNetwork simulated = SimulateNetwork(seed, fixed, free ? 16 : 14, free ? 0.3 : 0.5);
    Adjustment adjustment(simulated.text + (free ? "datum free\n" : ""));
    const std::size_t count = simulated.truth.size();
    AdjustmentReport report = adjustment.Run();
    ASSERT_TRUE(adjustment.run.converged && adjustment.run.inverseComputed) << seed;
    EXPECT_NEAR(report.sigma0.value_or(0.0), 1.0, 0.2) << seed;
    double moved[3] = {}, shift[3] = {};
    for (std::size_t p = 0; p < count && free; ++p) {
      for (int axis = 0; axis < 3; ++axis) {
        const double adjusted = report.points[p].coordinate[axis];
        moved[axis] += (adjusted - adjustment.network.points[p].approximate[axis]) / count;
        shift[axis] += (adjusted - simulated.truth[p][axis]) / count;
      }
    }
    for (std::size_t p = fixed; p < count; ++p) {
      for (int axis = 0; axis < 3; ++axis) {
        // The free network's inverse is that of the bordered matrix, no deviation to test by.
        const PointResult& point = report.points[p];
        double error = point.coordinate[axis] - simulated.truth[p][axis] - shift[axis];
        EXPECT_LT(std::fabs(error), free ? 0.005 : 4.5 * point.deviation[axis].value_or(0.0))
            << point.name << axis << seed;
        EXPECT_TRUE(free || point.deviation[axis].value_or(1.0) < 0.005);
      }
    }
    // Millimetre weights against datum rows of order one keep the centroid to a micrometre.
    for (int axis = 0; axis < 3 && free; ++axis)
      EXPECT_NEAR(moved[axis], 0.0, 1e-6);
    for (const ObservationResult& observation : report.observations)
      EXPECT_LT(std::fabs(observation.normalized), 5.0);
  }
}

TEST(AdjustmentRun, ConvergenceRuleAndTheExtraInverseIteration) {
  // Linear observations, approximations about a metre off: step 1 lands on the solution, step 2
  // finds (almost) nothing left to correct.
  const char* const linear =
      "point A 0 0 0\npoint B 101 1 1\npoint C 1 99 -1\nheight H 5\nfix A\n"
      "vector A B 100 0 0 0.003\nvector B C -100 100 0.5 0.003\nvector A C 0 100 0.49 0.003\n"
      "level A H 5.001 0.001\nlevel H C -4.5 0.001\ncoord B z 0.002 0.002\n";
  struct Case {
    RunSettings settings;  // by default 10 iterations, tolerance 1e-5, inverse wanted
    std::size_t iterations;
    bool converged;
  };
  const Case cases[] = {
      {{}, 3, true},                      // converged in step 2, step 3 asks for the inverse
      {{.wantInverse = false}, 2, true},  // no inverse wanted: no extra step
      {{.iterationLimit = 2}, 2, true},   // converged in the last allowed step
      {{.iterationLimit = 4, .tolerance = 0.0}, 4, false},  // tolerance zero runs every step
      {{.iterationLimit = 1}, 1, false},                    // limit reached before convergence
      {{.evaluateOnly = true}, 1, true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(&c - cases);
    Adjustment adjustment(linear);
    InverseSpy spy(adjustment.model);
    adjustment.model.participants.insert(&spy);
    AdjustmentReport report = adjustment.Run(c.settings);
    const RunResult& run = adjustment.run;
    EXPECT_EQ(run.iterations.size(), c.iterations);
    EXPECT_EQ(run.converged, c.converged);
    // No step but the last asked for the inverse.
    EXPECT_EQ(spy.heldBefore, std::vector<bool>(c.iterations, false));
    EXPECT_EQ(run.inverseComputed, c.settings.wantInverse && !c.settings.evaluateOnly);
    EXPECT_TRUE(c.settings.evaluateOnly || run.iterations[0].maxCorrection > 0.5);
    if (!c.settings.evaluateOnly) continue;
    // Evaluation only: the misclosures are seen, no coordinate moves by a bit.
    EXPECT_EQ(run.iterations[0].maxCorrection, 0.0);
    EXPECT_GT(run.iterations[0].sigma0, 10.0);
    for (std::size_t p = 0; p < report.points.size(); ++p) {
      for (int axis = 0; axis < 3; ++axis)
        EXPECT_TRUE(SameBits(report.points[p].coordinate[axis],
                             adjustment.network.points[p].approximate[axis]));
    }
  }
}

TEST(AdjustmentRun, InverseChoiceFollowsTheUnknownLimit) {
  const std::tuple<InverseChoice, std::size_t, bool> cases[] = {
      {InverseChoice::Auto, 3000, true},
      {InverseChoice::Auto, 3001, false},
      {InverseChoice::Always, 90000, true},
      {InverseChoice::Never, 3, false}};
  for (const auto& [choice, unknowns, wanted] : cases) {
    Options options;
    options.inverse = choice;
    EXPECT_EQ(SettingsFrom(options, unknowns).wantInverse, wanted) << unknowns;
  }
}

TEST(AdjustmentRun, DeviationsAreSigma0TimesTheRootOfTheInverseDiagonal) {
  // One unknown height between two fixed benchmarks: Q = 1 / (1/s1² + 1/s2²).
  Adjustment adjustment(
      "height A 0\nheight B 10\nheight P 4\nfix A\nfix B\nlevel A P 5.01 0.002\n"
      "level P B 5.0 0.001\n");
  AdjustmentReport report = adjustment.Run();
  ASSERT_TRUE(adjustment.run.converged);
  const double epsilon = std::numeric_limits<double>::epsilon();
  double q = 1.0 / (1.0 / 4e-6 + 1.0 / 1e-6), height = (5.01 / 4e-6 + 5.0 / 1e-6) * q;
  EXPECT_NEAR(report.points[2].coordinate[0], height, 1e3 * epsilon * height);
  double deviation = report.sigma0.value_or(0.0) * std::sqrt(q);
  EXPECT_NEAR(report.points[2].deviation[0].value_or(0.0), deviation, 1e3 * epsilon * deviation);
  EXPECT_FALSE(report.points[0].deviation[0].has_value());  // fixed
  EXPECT_EQ(report.redundancy, 1);
}

}  // namespace
}  // namespace zradjust
