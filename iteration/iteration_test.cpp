// End to end through a small host: linear observations and value objects in the framework's
// object table; only the library's one export and the framework library are linked.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "iteration/adjustment_model.h"

namespace {

constexpr double kEpsilon = std::numeric_limits<double>::epsilon();

using Terms = std::vector<std::pair<uint64, double>>;

// observed − Σ coefficient·value over its terms; the partials are the coefficients.
struct LinearObservation : ZR::VOObservation {
  LinearObservation(double observed, double tolerance, Terms terms)
      : observed(observed), tolerance(tolerance), terms(std::move(terms)) {}
  void GetPartials(std::map<ValueHandle, double>& partials) override {
    for (const auto& [id, coefficient] : terms)
      partials[ValueHandle{nullptr, id}] = coefficient;
  }
  double GetTolerance() override { return tolerance; }
  double GetComputed() override {
    double computed = 0.0;
    for (const auto& [id, coefficient] : terms)
      computed += coefficient * static_cast<ZR::VOValue*>(GetVObjectPointer(id))->Value;
    return computed;
  }
  double GetDifference() override {
    if (failing) throw std::runtime_error("observation failed");
    return observed - GetComputed();
  }
  double observed, tolerance;
  Terms terms;
  bool failing = false;
};

// Value objects registered for the host's lifetime, the observations in one array reserved up
// front (so that their address order is their creation order), and the model.
struct TestHost {
  TestHost() { observations.reserve(16); }
  ~TestHost() {
    for (const auto& entry : objects)
      UnregisterVObject(entry.first);
  }
  void Value(uint64 id, double value, bool fixed = false) {
    RegisterVObject(id, (objects[id] = std::make_unique<ZR::VOValue>(id, value)).get());
    model.values.insert(ValueHandle{nullptr, id});
    if (fixed) model.fixedValues.insert(ValueHandle{nullptr, id});
  }
  LinearObservation& Observe(double observed, double tolerance, Terms terms) {
    model.observations.insert(&observations.emplace_back(observed, tolerance, std::move(terms)));
    return observations.back();
  }
  // A full step without a clamp.
  double Step(bool adaptive = false, bool inverse = false, unsigned char solverCode = 0,
              double* residual = nullptr) {
    double sigma0 = -1.0;
    EXPECT_TRUE(model.Iterate(sigma0, 1.0, 1e10, adaptive, inverse, solverCode, 0, 0.0, residual));
    return sigma0;
  }
  double operator[](uint64 id) { return objects.at(id)->Value; }

  ZR::AdjustmentModel model;
  std::vector<LinearObservation> observations;
  std::map<uint64, std::unique_ptr<ZR::VOValue>> objects;
};

// Everything the library writes to a stream.
struct Captured {
  Captured() : stream(open_memstream(&buffer, &length)) {}
  ~Captured() {
    std::fclose(stream);
    std::free(buffer);
  }
  std::string Text() {
    std::fflush(stream);
    return std::string(buffer, length);
  }
  char* buffer = nullptr;
  std::size_t length = 0;
  std::FILE* stream;
};

// Levelling: A (fixed, 100) – B – C with three height differences. By hand: 2B − C = 99,
// −B + 2C = 105.3, so B = 101.1, C = 103.2, residuals ±0.1, redundancy 1.
TEST(Iterate, SolvesAWellPosedNetworkInOneStep) {
  TestHost host;
  host.Value(1, 100.0, true);
  host.Value(2, 0.0);
  host.Value(3, 0.0);
  host.Observe(1.0, 1.0, {{2, 1.0}, {1, -1.0}});
  host.Observe(2.0, 1.0, {{3, 1.0}, {2, -1.0}});
  host.Observe(3.3, 1.0, {{3, 1.0}, {1, -1.0}});
  double residual = -1.0;
  const double sigma0 = host.Step(false, false, 0, &residual);

  EXPECT_NEAR(host[2], 101.1, 16 * kEpsilon * 101.1);
  EXPECT_NEAR(host[3], 103.2, 16 * kEpsilon * 103.2);
  EXPECT_EQ(host[1], 100.0);
  // Misclosures of 0.1 taken from values near 100 keep about thirteen digits.
  EXPECT_NEAR(sigma0, std::sqrt(0.03), 4096 * kEpsilon * std::sqrt(0.03));
  EXPECT_EQ(host.model.sigma0, sigma0);
  EXPECT_LE(residual, 1e3 * kEpsilon * 303.3);  // ‖b − N·x‖ of a solved system
  EXPECT_EQ(host.model.unknowns, (UnknownIndex{{{nullptr, 2}, 0}, {{nullptr, 3}, 1}}));
}

// By hand: A = [[1, 0], [−1, 1]] (the partial for the fixed value leaves no entry),
// P = diag(2, 1), l = (2, 1); N = [[3, −1], [−1, 1]], b = (3, 1), x = (2, 3).
TEST(Iterate, DumpsAndLogsATinyModelByteForByte) {
  TestHost host;
  host.Value(1, 0.0);
  host.Value(2, 0.0);
  host.Value(3, 0.0, true);
  host.Observe(2.0, 0.5, {{1, 1.0}});
  host.Observe(1.0, 1.0, {{2, 1.0}, {1, -1.0}, {3, 1.0}});
  Captured dump, log;
  host.model.matrixDump = dump.stream;
  host.model.correctionLog = log.stream;

  EXPECT_LE(host.Step(), 16 * kEpsilon);  // u = n: the undivided sum of (next to) zero misclosures
  EXPECT_EQ(dump.Text(),
            "Matrix A\n2 2 \n\n1   0 1   \n2   0 -1   1 1   "
            "\n\nMatrix P\n2 2 \n\n1   0 2   \n1   1 1   "
            "\n\nVektor l\n2\n \n2 \n1 "
            "\n\nMatrix N\n2 2 \n\n2   0 3   1 -1   \n2   0 -1   1 1   "
            "\n\nVecktor b\n2\n \n3 \n1 "
            "\n\nVektor x\n2\n \n2 \n3 ");
  EXPECT_EQ(log.Text(),
            "Differenz: 2.000000\nToleranz: 0.500000\n\n"
            "Differenz: 1.000000\nToleranz: 1.000000\n\n"
            "Verbesserung f\xFCr 1 ist 2.000000\nVerbesserung f\xFCr 2 ist 3.000000\n");
}

// n = 0: A, P and l are empty, N holds the damping alone, nothing moves, sigma0 = sqrt(0).
TEST(Iterate, RunsWithoutObservations) {
  TestHost host;
  host.Value(1, 5.0);
  host.Value(2, 6.0);
  host.model.diagonalDamping = 1.0;
  Captured dump;
  host.model.matrixDump = dump.stream;

  EXPECT_EQ(host.Step(), 0.0);
  EXPECT_EQ(host[1], 5.0);
  EXPECT_EQ(host[2], 6.0);
  EXPECT_EQ(dump.Text(),
            "Matrix A\n0 2 \n\n\nMatrix P\n0 0 \n\n\nVektor l\n0\n "
            "\n\nMatrix N\n2 2 \n\n1   0 1   \n1   1 1   "
            "\n\nVecktor b\n2\n \n0 \n0 "
            "\n\nVektor x\n2\n \n0 \n0 ");
}

// Codes 200 and 201 only evaluate: x = 0, and the residual is the plain sum of the first u
// squares of −l (stopping at n when u > n). sigma0 is divided by n − u only when u < n.
TEST(Iterate, EvaluatesOnlyForSolverCodes200And201) {
  const struct {
    unsigned char solverCode;
    uint64 unknownTotal;
    std::vector<std::pair<double, double>> observedAndTolerance;  // each on unknown 1
    double residual, sigma0;
  } cases[] = {
      {200, 1, {{3.0, 1.0}, {4.0, 4.0}, {12.0, 16.0}}, 9.0, std::sqrt((9.0 + 4.0 + 9.0) / 2.0)},
      {201, 3, {{3.0, 1.0}, {4.0, 4.0}}, 25.0, std::sqrt(9.0 + 4.0)},
      {200, 2, {{3.0, 1.0}, {4.0, 4.0}}, 25.0, std::sqrt(9.0 + 4.0)},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << int{c.solverCode} << ", u = " << c.unknownTotal);
    TestHost host;
    for (uint64 id = 1; id <= c.unknownTotal; ++id)
      host.Value(id, 0.0);
    for (const auto& [observed, tolerance] : c.observedAndTolerance)
      host.Observe(observed, tolerance, {{1, 1.0}});
    double residual = -1.0;

    EXPECT_EQ(host.Step(false, false, c.solverCode, &residual), c.sigma0);
    EXPECT_EQ(residual, c.residual);
    EXPECT_EQ(host[1], 0.0);
    EXPECT_EQ(host.Step(false, false, c.solverCode), c.sigma0);  // without a residual target
  }
}

// The working tolerance s (GetTolerance while it is 0.0) gives the weight 1/s and becomes
// s / sqrt((sqrt(s)·d)² + 1) for the next step; fixed weights set it back to the tolerance.
TEST(Iterate, AdaptiveWeightsCarryTheReducedToleranceToTheNextStep) {
  TestHost host;
  host.Value(1, 0.0);
  LinearObservation& exact = host.Observe(0.0, 1.0, {{1, 1.0}});    // d = 0 at x = 0
  LinearObservation& missing = host.Observe(1.0, 4.0, {{1, 1.0}});  // d = 1 at x = 0
  Captured log;
  host.model.correctionLog = log.stream;

  host.Step(true, false, 200);  // evaluation only: x stays 0, the misclosures (0, 1)
  const double first = 4.0 / std::sqrt(2.0 * 2.0 + 1.0);
  EXPECT_EQ(exact.GetValue(), 1.0);
  EXPECT_EQ(missing.GetValue(), first);
  EXPECT_EQ(log.Text(),
            "Differenz: 0.000000\nDifferenz: 1.000000\nVerbesserung f\xFCr 1 ist 0.000000\n");

  host.Step(true);  // weights 1 and 1/first: x = (1/first) / (1 + 1/first)
  EXPECT_NEAR(host[1], 1.0 / (first + 1.0), 16 * kEpsilon);
  EXPECT_EQ(missing.GetValue(), first / std::sqrt(std::sqrt(first) * std::sqrt(first) + 1.0));

  host.Step(false, false, 200);
  EXPECT_EQ(missing.GetValue(), 4.0);
}

// The step solves only with GᵀG added, and the inverse returned is that of
// AᵀPA + damping·I + GᵀG.
TEST(Iterate, FreeNetworkAddsTheDatumAndReturnsTheInverseWithIt) {
  // Centroid (100, 200, 50); the centred coordinates have the spread 4.
  const double centred[3][3] = {{-2.0, -1.0, 1.0}, {2.0, -1.0, 0.0}, {0.0, 2.0, -1.0}};
  TestHost host;
  double N[9][9] = {}, G[7][9] = {};
  for (int p = 0; p < 3; ++p) {
    const double t = 1.0 / std::sqrt(3.0), x = centred[p][0] / 4, y = centred[p][1] / 4,
                 z = centred[p][2] / 4;
    // Translations, rotations about X, Y and Z, scale.
    const double rows[7][3] = {{t, 0, 0},  {0, t, 0},  {0, 0, t}, {0, -z, y},
                               {z, 0, -x}, {-y, x, 0}, {x, y, z}};
    for (int axis = 0; axis < 3; ++axis) {
      const uint64 id = 3 * p + axis + 1;
      host.Value(id, (axis == 0 ? 100.0 : axis == 1 ? 200.0 : 50.0) + centred[p][axis]);
      N[id - 1][id - 1] = host.model.diagonalDamping = 0.25;
      for (int r = 0; r < 7; ++r)
        G[r][id - 1] = rows[r][axis];
    }
    host.model.points.insert(
        NetworkPoint{{nullptr, 3 * p + 1ul}, {nullptr, 3 * p + 2ul}, {nullptr, 3 * p + 3ul}});
  }
  // GNSS baselines, one observation per axis: AᵀPA alone is singular.
  for (const auto& [from, to, weight] : {std::tuple{0, 3, 1.0}, {3, 6, 0.5}, {0, 6, 2.0}}) {
    for (int axis = 0; axis < 3; ++axis) {
      const int i = from + axis, k = to + axis;
      host.Observe(0.5, 1.0 / weight, {{k + 1, 1.0}, {i + 1, -1.0}});
      N[i][i] += weight;
      N[k][k] += weight;
      N[i][k] -= weight;
      N[k][i] -= weight;
    }
  }
  for (int j = 0; j < 9; ++j)
    for (int k = 0; k < 9; ++k)
      for (int r = 0; r < 7; ++r)
        N[j][k] += G[r][j] * G[r][k];

  host.Step(false, true);
  const SparseMatrix& Q = host.model.normalInverse;
  ASSERT_EQ(Q.RowCount(), 9u);
  double worst = 0.0;
  for (int i = 0; i < 9; ++i) {
    for (int k = 0; k < 9; ++k) {
      double product = 0.0;
      for (int j = 0; j < 9; ++j)
        product += N[i][j] * GetElement(Q, j, k);
      worst = std::fmax(worst, std::fabs(product - (i == k ? 1.0 : 0.0)));
    }
  }
  EXPECT_LE(worst, 1e3 * kEpsilon);

  host.Step();  // without the inverse: u empty rows
  ASSERT_EQ(Q.RowCount(), 9u);
  for (const SparseRow& row : Q.rows)
    EXPECT_TRUE(row.Empty());
}

// An exception from an observation passes through Iterate; what the step had written to the
// model stays, everything it would have written later does not.
TEST(Iterate, PassesAnObservationsExceptionThroughWithTheModelAsItStood) {
  TestHost host;
  host.Value(1, 1.0);
  host.Value(2, 2.0);
  LinearObservation& first = host.Observe(3.0, 0.25, {{1, 1.0}});
  LinearObservation& second = host.Observe(4.0, 1.0, {{2, 1.0}});
  second.failing = true;
  host.model.sigma0 = -1.0;
  host.model.normalInverse.columnCount = 7;
  double sigma0 = -2.0;

  EXPECT_THROW(host.model.Iterate(sigma0, 1.0, 1e10, false, false, 0, 0, 0.0, nullptr),
               std::runtime_error);
  EXPECT_EQ(host.model.iterationCount, 1);
  EXPECT_EQ(host.model.unknowns.size(), 2u);
  EXPECT_EQ(host.model.observationCount, 2u);
  EXPECT_EQ(first.GetValue(), 0.25);  // the first row was complete
  EXPECT_EQ(second.GetValue(), 0.0);
  EXPECT_EQ(host[1], 1.0);
  EXPECT_EQ(sigma0, -2.0);
  EXPECT_EQ(host.model.sigma0, -1.0);
  EXPECT_EQ(host.model.normalInverse.columnCount, 7u);
}

}  // namespace
