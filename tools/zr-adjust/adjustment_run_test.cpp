#include "tools/zr-adjust/adjustment_run.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>

#include "tools/zr-adjust/identifier_order.h"
#include "tools/zr-adjust/model_builder.h"
#include "tools/zr-adjust/network_reader.h"
#include "tools/zr-adjust/report_collection.h"
#include "tools/zr-adjust/simulated_network.h"

namespace zradjust {
namespace {

constexpr double epsilon = std::numeric_limits<double>::epsilon();

bool SameBits(double a, double b) {
  return std::memcmp(&a, &b, sizeof a) == 0;
}

Network Read(const std::string& text) {
  ReadResult result = ReadNetwork(text, "t.net");
  EXPECT_TRUE(result.Ok()) << (result.errors.empty() ? "" : result.errors[0]);
  return result.network;
}

// A model with its objects, built as zr-adjust builds it.
struct Adjustment {
  explicit Adjustment(const std::string& text,
                      IdentifierOrder order = IdentifierOrder::ReverseCuthillMcKee)
      : network(Read(text)), objects(network, AssignIdentifiers(network, order), model) {}

  RunResult Run(const RunSettings& settings) {
    return RunAdjustment(model, objects.Unknowns(), settings, nullptr);
  }

  Network network;
  ZR::AdjustmentModel model;
  ModelObjects objects;
};

// Records, at the start of every step, whether the model holds an inverse from the step
// before: it does only after a step that asked for one.
struct InverseSpy : ZR::VOParticipant {
  explicit InverseSpy(const ZR::AdjustmentModel& model) : model(model) {}
  void BeforeIteration() override {
    bool held = false;
    for (const SparseRow& row : model.normalInverse.rows)
      held = held || !row.Empty();
    heldBefore.push_back(held);
  }
  const ZR::AdjustmentModel& model;
  std::vector<bool> heldBefore;
};

// Linear observations only, approximations about a metre off: the first step lands on the
// solution, the second finds (almost) nothing left to correct.
const char* const linearNetwork =
    "point A 0 0 0\npoint B 101 1 1\npoint C 1 99 -1\nheight H 5\nfix A\n"
    "vector A B 100 0 0 0.003\nvector B C -100 100 0.5 0.003\nvector A C 0 100 0.49 0.003\n"
    "level A H 5.001 0.001\nlevel H C -4.5 0.001\ncoord B z 0.002 0.002\n";

TEST(NetworkObservation, ComputesTheContractsFormulas) {
  // Values where the order of the sum matters in the last bit.
  ZR::VOValue from[3] = {{1, 0.1}, {2, 0.2}, {3, 0.3}};
  ZR::VOValue to[3] = {{4, 1e8 + 0.7}, {5, 3.3}, {6, -2.9}};
  ValueHandle f[3], t[3];
  for (int axis = 0; axis < 3; ++axis) {
    f[axis] = {&from[axis], from[axis].GetId()};
    t[axis] = {&to[axis], to[axis].GetId()};
  }
  NetworkObservation distance(ObservationType::Distance, f, t, 1e8, 0.002);
  double dx = to[0].Value - from[0].Value, dy = to[1].Value - from[1].Value,
         dz = to[2].Value - from[2].Value;
  double c = std::sqrt((dx * dx + dy * dy) + dz * dz);
  EXPECT_TRUE(SameBits(distance.GetComputed(), c));
  EXPECT_TRUE(SameBits(distance.GetDifference(), 1e8 - c));
  EXPECT_TRUE(SameBits(distance.GetTolerance(), 0.002 * 0.002));
  EXPECT_EQ(distance.GetValue(), 0.0);
  std::map<ValueHandle, double> partials;
  distance.GetPartials(partials);
  ASSERT_EQ(partials.size(), 6u);
  EXPECT_TRUE(SameBits(partials[t[1]], dy / c));
  EXPECT_TRUE(SameBits(partials[f[1]], -(dy / c)));
  EXPECT_TRUE(SameBits(partials[f[2]], -(dz / c)));

  struct Case {
    ObservationType type;
    double computed;
    std::map<ObjectId, double> partials;
  };
  const Case cases[] = {
      {ObservationType::VectorX, to[0].Value - from[0].Value, {{1, -1.0}, {4, 1.0}}},
      {ObservationType::Levelling, to[0].Value - from[0].Value, {{1, -1.0}, {4, 1.0}}},
      {ObservationType::Coordinate, from[0].Value, {{1, 1.0}}},
  };
  for (const Case& expected : cases) {
    NetworkObservation observation(expected.type, f, t, 5.0, 0.5);
    EXPECT_TRUE(SameBits(observation.GetComputed(), expected.computed));
    EXPECT_TRUE(SameBits(observation.GetDifference(), 5.0 - expected.computed));
    std::map<ValueHandle, double> got;
    observation.GetPartials(got);
    std::map<ObjectId, double> byId;
    for (const auto& [handle, partial] : got)
      byId[handle.id] = partial;
    EXPECT_EQ(byId, expected.partials);
  }
}

TEST(ModelObjects, BuildsTheModelAsTheHostContractSays) {
  const char* text =
      "point A 0 0 0\nheight H 5\npoint B 10 0 0\nfix A xy\ndatum free\n"
      "dist A B 10 0.01\nvector A B 10 0 0 0.01\nlevel B H 5 0.01\ncoord H h 5 0.01\n";
  Network network = Read(text);
  std::vector<std::uint64_t> ids = AssignIdentifiers(network, IdentifierOrder::Input);
  {
    ZR::AdjustmentModel model;
    ModelObjects objects(network, ids, model);
    EXPECT_EQ(model.values.size(), 7u);
    EXPECT_EQ(model.fixedValues.size(), 2u);
    EXPECT_EQ(objects.Unknowns().size(), 5u);
    EXPECT_EQ(model.points.size(), 2u);  // the two 3D points, not the height point
    for (std::size_t p = 0; p < network.points.size(); ++p) {
      for (int axis = 0; axis < network.points[p].CoordinateCount(); ++axis) {
        const ZR::VOValue& value = objects.Coordinate(p, axis);
        uint64 id = ids[p] + static_cast<uint64>(axis);
        EXPECT_EQ(value.GetId(), id);
        EXPECT_EQ(value.Value, network.points[p].approximate[axis]);
        EXPECT_EQ(GetVObjectPointer(id), &value);
      }
    }
    // Pointer order is file order: the set yields the observations as the file lists them.
    ASSERT_EQ(model.observations.size(), 6u);
    std::size_t index = 0;
    for (ZR::VOObservation* observation : model.observations) {
      EXPECT_EQ(observation, &objects.Observation(index)) << index;
      ++index;
    }
    EXPECT_EQ(objects.Observation(2).Type(), ObservationType::VectorY);
  }
  // Gone from the object table with the objects.
  for (uint64 id = 1; id <= 7; ++id)
    EXPECT_EQ(GetVObjectPointer(id), nullptr);
}

TEST(AdjustmentRun, SimulatedNetworkRecoversTheTruthWithSigma0NearOne) {
  for (unsigned seed : {11u, 12u}) {
    SimulatedNetwork simulated = SimulateNetwork(seed, 4, 14, false, 0.5);
    Adjustment adjustment(simulated.text);
    RunSettings settings;
    RunResult run = adjustment.Run(settings);
    ASSERT_TRUE(run.converged) << "seed " << seed;
    ASSERT_TRUE(run.inverseComputed);
    AdjustmentReport report = CollectReport(adjustment.network, adjustment.objects,
                                            adjustment.model, run, settings, "sim.net");
    // With a redundancy of well over a hundred, sigma0 lies within a few tenths of one.
    EXPECT_GT(report.redundancy, 100);
    EXPECT_NEAR(report.sigma0, 1.0, 0.2) << "seed " << seed;
    for (std::size_t p = 4; p < report.points.size(); ++p) {
      for (int axis = 0; axis < 3; ++axis) {
        const PointResult& point = report.points[p];
        ASSERT_TRUE(point.deviation[axis].has_value());
        double error = point.coordinate[axis] - simulated.truth[p][axis];
        EXPECT_LT(std::fabs(error), 4.5 * *point.deviation[axis])
            << point.name << " axis " << axis << " seed " << seed;
        EXPECT_LT(*point.deviation[axis], 0.005);
      }
    }
    for (const ObservationResult& observation : report.observations) {
      EXPECT_LT(std::fabs(observation.normalized), 5.0);
    }
  }
}

TEST(AdjustmentRun, FreeNetworkKeepsItsCentroidAndRecoversTheShape) {
  SimulatedNetwork simulated = SimulateNetwork(21, 0, 16, true, 0.3);
  Adjustment adjustment(simulated.text);
  double approximateCentroid[3] = {0.0, 0.0, 0.0};
  for (std::size_t p = 0; p < adjustment.network.points.size(); ++p) {
    for (int axis = 0; axis < 3; ++axis) {
      approximateCentroid[axis] += adjustment.network.points[p].approximate[axis];
    }
  }
  RunSettings settings;
  RunResult run = adjustment.Run(settings);
  ASSERT_TRUE(run.converged);
  AdjustmentReport report = CollectReport(adjustment.network, adjustment.objects, adjustment.model,
                                          run, settings, "free.net");
  EXPECT_NEAR(report.sigma0, 1.0, 0.25);
  // The datum conditions allow no shift of the centroid; the shape is the true one up to the
  // common shift of the approximations.
  double centroid[3] = {0.0, 0.0, 0.0};
  double shift[3] = {0.0, 0.0, 0.0};
  std::size_t count = report.points.size();
  for (std::size_t p = 0; p < count; ++p) {
    for (int axis = 0; axis < 3; ++axis) {
      centroid[axis] += report.points[p].coordinate[axis];
      shift[axis] += report.points[p].coordinate[axis] - simulated.truth[p][axis];
    }
  }
  for (int axis = 0; axis < 3; ++axis) {
    // The normal matrix weighs millimetre observations (about 1e6) against datum rows of
    // order one, so the solve keeps the centroid to a micrometre, not to the last bit; a
    // shift would show in decimetres, the size of the approximation errors.
    EXPECT_NEAR(centroid[axis] / count, approximateCentroid[axis] / count, 1e-6);
    shift[axis] /= static_cast<double>(count);
    for (std::size_t p = 0; p < count; ++p) {
      double error = report.points[p].coordinate[axis] - simulated.truth[p][axis] - shift[axis];
      EXPECT_LT(std::fabs(error), 0.005) << report.points[p].name << " axis " << axis;
    }
  }
}

TEST(AdjustmentRun, EvaluationOnlyLeavesEveryCoordinateUnchanged) {
  SimulatedNetwork simulated = SimulateNetwork(31, 3, 6, false, 0.2);
  Adjustment adjustment(simulated.text);
  std::vector<double> before;
  for (const ZR::VOValue* value : adjustment.objects.Unknowns())
    before.push_back(value->Value);
  RunSettings settings;
  settings.evaluateOnly = true;
  RunResult run = adjustment.Run(settings);
  ASSERT_EQ(run.iterations.size(), 1u);
  EXPECT_EQ(run.iterations[0].maxCorrection, 0.0);
  EXPECT_GT(run.iterations[0].sigma0, 10.0);  // decimetre misclosures against millimetres
  for (std::size_t i = 0; i < before.size(); ++i) {
    EXPECT_TRUE(SameBits(adjustment.objects.Unknowns()[i]->Value, before[i]));
  }
}

TEST(AdjustmentRun, ConvergenceRuleAndTheExtraInverseIteration) {
  struct Case {
    const char* name;
    int limit;
    double tolerance;
    bool wantInverse;
    bool evaluateOnly;
    std::size_t iterations;
    bool converged;
  };
  const Case cases[] = {
      // Converged in step 2, then one more step that asks for the inverse.
      {"inverse wanted", 10, 1e-5, true, false, 3, true},
      {"inverse not wanted", 10, 1e-5, false, false, 2, true},
      // Converged in the last allowed step, which asked for the inverse already.
      {"limit reached while converging", 2, 1e-5, true, false, 2, true},
      {"tolerance zero runs every iteration", 4, 0.0, true, false, 4, false},
      {"limit before convergence", 1, 1e-5, true, false, 1, false},
      {"evaluation only", 10, 1e-5, true, true, 1, true},
  };
  for (const Case& c : cases) {
    Adjustment adjustment(linearNetwork);
    InverseSpy spy(adjustment.model);
    adjustment.model.participants.insert(&spy);
    RunSettings settings;
    settings.iterationLimit = c.limit;
    settings.tolerance = c.tolerance;
    settings.wantInverse = c.wantInverse;
    settings.evaluateOnly = c.evaluateOnly;
    RunResult run = adjustment.Run(settings);
    EXPECT_EQ(run.iterations.size(), c.iterations) << c.name;
    EXPECT_EQ(run.converged, c.converged) << c.name;
    // No step but the last asked for the inverse.
    ASSERT_EQ(spy.heldBefore.size(), c.iterations) << c.name;
    for (bool held : spy.heldBefore)
      EXPECT_FALSE(held) << c.name;
    bool inverseWanted = c.wantInverse && !c.evaluateOnly;
    EXPECT_EQ(run.inverseComputed, inverseWanted) << c.name;
    EXPECT_FALSE(run.inverseFailed) << c.name;
    if (!c.evaluateOnly) {
      EXPECT_GT(run.iterations[0].maxCorrection, 0.5) << c.name;
    }
  }
}

TEST(AdjustmentRun, InverseChoiceFollowsTheUnknownLimit) {
  struct Case {
    InverseChoice choice;
    std::size_t unknowns;
    bool wanted;
  };
  const Case cases[] = {
      {InverseChoice::Auto, 3000, true},
      {InverseChoice::Auto, 3001, false},
      {InverseChoice::Always, 90000, true},
      {InverseChoice::Never, 3, false},
  };
  for (const Case& c : cases) {
    Options options;
    options.inverse = c.choice;
    EXPECT_EQ(SettingsFrom(options, c.unknowns).wantInverse, c.wanted) << c.unknowns;
  }
}

TEST(AdjustmentRun, DeviationsAreSigma0TimesTheRootOfTheInverseDiagonal) {
  // One unknown height between two fixed benchmarks: Q = 1 / (1/s1² + 1/s2²).
  Adjustment adjustment(
      "height A 0\nheight B 10\nheight P 4\nfix A\nfix B\nlevel A P 5.01 0.002\n"
      "level P B 5.0 0.001\n");
  RunSettings settings;
  RunResult run = adjustment.Run(settings);
  ASSERT_TRUE(run.converged);
  AdjustmentReport report = CollectReport(adjustment.network, adjustment.objects, adjustment.model,
                                          run, settings, "t.net");
  double q = 1.0 / (1.0 / 4e-6 + 1.0 / 1e-6);
  double expectedHeight = (5.01 / 4e-6 + 5.0 / 1e-6) * q;
  EXPECT_NEAR(report.points[2].coordinate[0], expectedHeight, 1e3 * epsilon * expectedHeight);
  ASSERT_TRUE(report.points[2].deviation[0].has_value());
  EXPECT_NEAR(*report.points[2].deviation[0], report.sigma0 * std::sqrt(q),
              1e3 * epsilon * std::sqrt(q) * report.sigma0);
  EXPECT_FALSE(report.points[0].deviation[0].has_value());  // fixed
  EXPECT_EQ(report.redundancy, 1);
}

}  // namespace
}  // namespace zradjust
