// End-to-end tests of the loadable library through a small host: linear observation classes,
// value objects in the framework's object table, and the model filled as a host fills it.
// Only the library's one export and the framework library are linked.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "iteration/adjustment_model.h"

namespace {

constexpr double kEpsilon = std::numeric_limits<double>::epsilon();

// observed − Σ coefficient·value over its terms; the partials are the coefficients.
class LinearObservation : public ZR::VOObservation {
 public:
  LinearObservation(double observed, double tolerance,
                    std::vector<std::pair<ZR::VOValue*, double>> terms)
      : observed(observed), tolerance(tolerance), terms(std::move(terms)) {}

  void GetPartials(std::map<ValueHandle, double>& partials) override {
    for (const auto& [value, coefficient] : terms) {
      partials[ValueHandle{nullptr, value->GetId()}] = coefficient;
    }
  }
  double GetTolerance() override { return tolerance; }
  double GetComputed() override {
    double computed = 0.0;
    for (const auto& [value, coefficient] : terms) {
      computed += coefficient * value->Value;
    }
    return computed;
  }
  double GetDifference() override {
    if (failing) {
      throw std::runtime_error("observation failed");
    }
    return observed - GetComputed();
  }

  double observed;
  double tolerance;
  std::vector<std::pair<ZR::VOValue*, double>> terms;
  bool failing = false;
};

// Records a value as each step begins and after its corrections.
class WatchingParticipant : public ZR::VOParticipant {
 public:
  explicit WatchingParticipant(const ZR::VOValue& watched) : watched(watched) {}
  void BeforeIteration() override { seen.push_back(watched.Value); }
  void AfterCorrections() override { seen.push_back(watched.Value); }

  const ZR::VOValue& watched;
  std::vector<double> seen;
};

// A host: registered value objects, observations in one array (so that their address order
// is their creation order) and the model.
class TestHost {
 public:
  TestHost() { observations.reserve(kObservationCapacity); }
  TestHost(const TestHost&) = delete;
  TestHost& operator=(const TestHost&) = delete;
  ~TestHost() {
    for (const auto& entry : valueObjects) {
      UnregisterVObject(entry.first);
    }
  }

  ZR::VOValue& Value(uint64 id, double value) {
    auto& object = valueObjects[id];
    object = std::make_unique<ZR::VOValue>(id, value);
    RegisterVObject(id, object.get());
    model.values.insert(ValueHandle{nullptr, id});
    return *object;
  }
  ZR::VOValue& operator[](uint64 id) { return *valueObjects.at(id); }
  void Fix(uint64 id) { model.fixedValues.insert(ValueHandle{nullptr, id}); }

  LinearObservation& Observe(double observed, double tolerance,
                             std::vector<std::pair<uint64, double>> terms) {
    EXPECT_LT(observations.size(), kObservationCapacity);
    std::vector<std::pair<ZR::VOValue*, double>> resolved;
    for (const auto& [id, coefficient] : terms) {
      resolved.emplace_back(valueObjects.at(id).get(), coefficient);
    }
    LinearObservation& observation = observations.emplace_back(observed, tolerance, resolved);
    model.observations.insert(&observation);
    return observation;
  }

  void Point(uint64 firstId) {
    model.points.insert(NetworkPoint{ValueHandle{nullptr, firstId},
                                     ValueHandle{nullptr, firstId + 1},
                                     ValueHandle{nullptr, firstId + 2}});
  }

  // Iterate with the usual arguments: full step, no clamp, fixed weights, compact solver.
  double Step(bool computeInverse = false, unsigned char solverCode = 0, double* residual = nullptr,
              bool adaptiveWeights = false) {
    double sigma0 = -1.0;
    EXPECT_TRUE(model.Iterate(sigma0, 1.0, 1e10, adaptiveWeights, computeInverse, solverCode, 0,
                              0.0, residual));
    return sigma0;
  }

  ZR::AdjustmentModel model;
  std::vector<LinearObservation> observations;

 private:
  static constexpr std::size_t kObservationCapacity = 32;
  std::map<uint64, std::unique_ptr<ZR::VOValue>> valueObjects;
};

// Collects what the library writes to a stream.
class CapturedStream {
 public:
  CapturedStream() : stream(open_memstream(&buffer, &length)) {}
  ~CapturedStream() {
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

void ExpectRelativelyNear(double actual, double expected, double tolerance, const char* what) {
  EXPECT_LE(std::fabs(actual - expected), tolerance * std::fabs(expected))
      << what << ": " << actual << " vs " << expected;
}

// Levelling: A (fixed, 100) – B – C with three height differences. Least squares by hand:
// 2B − C = 99, −B + 2C = 105.3, so B = 101.1, C = 103.2, residuals ±0.1, redundancy 1.
TEST(Iterate, SolvesAWellPosedNetworkInOneStep) {
  TestHost host;
  host.Value(1, 100.0);
  host.Value(2, 0.0);
  host.Value(3, 0.0);
  host.Fix(1);
  host.Observe(1.0, 1.0, {{2, 1.0}, {1, -1.0}});
  host.Observe(2.0, 1.0, {{3, 1.0}, {2, -1.0}});
  host.Observe(3.3, 1.0, {{3, 1.0}, {1, -1.0}});
  WatchingParticipant participant(host[2]);
  host.model.participants.insert(&participant);
  double residual = -1.0;

  const double sigma0 = host.Step(false, 0, &residual);

  ExpectRelativelyNear(host[2].Value, 101.1, 16 * kEpsilon, "B");
  ExpectRelativelyNear(host[3].Value, 103.2, 16 * kEpsilon, "C");
  EXPECT_EQ(host[1].Value, 100.0);
  ExpectRelativelyNear(sigma0, std::sqrt(0.03), 1e-12, "sigma0");
  EXPECT_EQ(host.model.sigma0, sigma0);
  EXPECT_LE(residual, 1e3 * kEpsilon * 303.3);  // ‖b − N·x‖ of a solved system
  EXPECT_EQ(host.model.iterationCount, 1);
  EXPECT_EQ(host.model.observationCount, 3u);
  EXPECT_EQ(host.model.unknownCount, 2u);
  const UnknownIndex expectedColumns{{ValueHandle{nullptr, 2}, 0}, {ValueHandle{nullptr, 3}, 1}};
  EXPECT_EQ(host.model.unknowns, expectedColumns);
  EXPECT_EQ(participant.seen, (std::vector<double>{0.0, host[2].Value}));

  // A second step of a linear problem changes (next to) nothing and numbers alike.
  const double b = host[2].Value;
  host.Step();
  ExpectRelativelyNear(host[2].Value, b, 16 * kEpsilon, "B after the second step");
  EXPECT_EQ(host.model.iterationCount, 2);
  EXPECT_EQ(host.model.unknowns, expectedColumns);
}

// Worked by hand: A = [[1, 0], [−1, 1]] (the partial for the fixed z leaves no entry),
// P = diag(2, 1), l = (2, 1); N = [[3, −1], [−1, 1]], b = (3, 1), x = (2, 3).
TEST(Iterate, DumpsAndLogsATinyModelByteForByte) {
  TestHost host;
  host.Value(1, 0.0);
  host.Value(2, 0.0);
  host.Value(3, 0.0);
  host.Fix(3);
  host.Observe(2.0, 0.5, {{1, 1.0}});
  host.Observe(1.0, 1.0, {{2, 1.0}, {1, -1.0}, {3, 1.0}});
  CapturedStream dump;
  CapturedStream log;
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
            "Verbesserung f\xFCr 1 ist 2.000000\n"
            "Verbesserung f\xFCr 2 ist 3.000000\n");
}

// n = 0: A, P and l are empty, N holds the damping alone, nothing moves, sigma0 = sqrt(0).
TEST(Iterate, RunsWithoutObservations) {
  TestHost host;
  host.Value(1, 5.0);
  host.Value(2, 6.0);
  host.model.diagonalDamping = 1.0;
  CapturedStream dump;
  host.model.matrixDump = dump.stream;

  EXPECT_EQ(host.Step(), 0.0);

  EXPECT_EQ(host[1].Value, 5.0);
  EXPECT_EQ(host[2].Value, 6.0);
  EXPECT_EQ(host.model.observationCount, 0u);
  EXPECT_EQ(host.model.unknownCount, 2u);
  EXPECT_EQ(dump.Text(),
            "Matrix A\n0 2 \n\n\nMatrix P\n0 0 \n\n\nVektor l\n0\n "
            "\n\nMatrix N\n2 2 \n\n1   0 1   \n1   1 1   "
            "\n\nVecktor b\n2\n \n0 \n0 "
            "\n\nVektor x\n2\n \n0 \n0 ");
}

// Solver codes 200 and 201 only evaluate: no normal equations, x = 0, and the residual is
// the plain sum of the first u squares of −l (stopping at n when u > n). sigma0 is divided by
// n − u only when u < n.
TEST(Iterate, EvaluatesOnlyForSolverCodes200And201) {
  struct Case {
    unsigned char solverCode;
    int unknownTotal;
    std::vector<std::pair<double, double>> observedAndTolerance;  // each on unknown 1
    double expectedResidual;
    double expectedSigma0;
  };
  const Case cases[] = {
      {200, 1, {{3.0, 1.0}, {4.0, 4.0}, {12.0, 16.0}}, 9.0, std::sqrt((9.0 + 4.0 + 9.0) / 2.0)},
      {201, 3, {{3.0, 1.0}, {4.0, 4.0}}, 25.0, std::sqrt(9.0 + 4.0)},
      {200, 2, {{3.0, 1.0}, {4.0, 4.0}}, 25.0, std::sqrt(9.0 + 4.0)},
  };
  for (const Case& test : cases) {
    SCOPED_TRACE(testing::Message() << int{test.solverCode} << ", u = " << test.unknownTotal);
    TestHost host;
    for (int id = 1; id <= test.unknownTotal; ++id) {
      host.Value(id, 0.0);
    }
    for (const auto& [observed, tolerance] : test.observedAndTolerance) {
      host.Observe(observed, tolerance, {{1, 1.0}});
    }
    CapturedStream dump;
    host.model.matrixDump = dump.stream;
    double residual = -1.0;

    EXPECT_EQ(host.Step(false, test.solverCode, &residual), test.expectedSigma0);
    EXPECT_EQ(residual, test.expectedResidual);
    EXPECT_EQ(host[1].Value, 0.0);
    const std::string text = dump.Text();
    EXPECT_EQ(text.find("Matrix N"), std::string::npos);
    EXPECT_EQ(text.find("Vecktor b"), std::string::npos);
    std::string zeros;
    for (int k = 0; k < test.unknownTotal; ++k) {
      zeros += "\n0 ";
    }
    const std::string x = "\n\nVektor x\n" + std::to_string(test.unknownTotal) + "\n " + zeros;
    EXPECT_EQ(text.substr(text.size() - x.size()), x);

    EXPECT_EQ(host.Step(false, test.solverCode, nullptr), test.expectedSigma0);  // no residual
  }
}

// Adaptive weighting: the working tolerance s (GetTolerance when it is 0.0) gives the weight
// 1/s and is reduced to s / sqrt((sqrt(s)·d)² + 1); fixed weights reset it to the tolerance.
TEST(Iterate, AdaptiveWeightsCarryTheReducedToleranceToTheNextStep) {
  TestHost host;
  host.Value(1, 0.0);
  LinearObservation& exact = host.Observe(0.0, 1.0, {{1, 1.0}});    // d = 0 at x = 0
  LinearObservation& missing = host.Observe(1.0, 4.0, {{1, 1.0}});  // d = 1 at x = 0
  const auto reduced = [](double s, double d) {
    const double scaled = std::sqrt(s) * d;
    return s / std::sqrt(scaled * scaled + 1.0);
  };
  CapturedStream log;
  host.model.correctionLog = log.stream;

  // Evaluation only, so x stays 0 and the misclosures stay (0, 1).
  host.Step(false, 200, nullptr, true);
  const double first = reduced(4.0, 1.0);
  EXPECT_EQ(exact.GetValue(), 1.0);
  EXPECT_EQ(missing.GetValue(), first);
  EXPECT_EQ(log.Text(),
            "Differenz: 0.000000\nDifferenz: 1.000000\n"
            "Verbesserung f\xFCr 1 ist 0.000000\n");  // no "Toleranz" lines

  // A solving step weights by 1/1 and 1/first: x = (1/first) / (1 + 1/first).
  host.Step(false, 0, nullptr, true);
  const double weight = 1.0 / first;
  ExpectRelativelyNear(host[1].Value, weight / (1.0 + weight), 16 * kEpsilon, "x");
  EXPECT_EQ(exact.GetValue(), 1.0);
  EXPECT_EQ(missing.GetValue(), reduced(first, 1.0));

  host.Step(false, 200);  // fixed weights reset the working tolerances
  EXPECT_EQ(exact.GetValue(), 1.0);
  EXPECT_EQ(missing.GetValue(), 4.0);
}

// GᵀG of the seven datum conditions (translations, rotations, scale) of points whose
// coordinates are the unknowns 3p, 3p + 1, 3p + 2; dense, as the test's own reference.
std::vector<std::vector<double>> DenseDatumGram(const std::vector<std::vector<double>>& points) {
  const double n = static_cast<double>(points.size());
  std::vector<double> mean(3, 0.0);
  double spread = 0.0;
  for (int axis = 0; axis < 3; ++axis) {
    for (const auto& point : points) {
      mean[axis] += point[axis] / n;
    }
    for (const auto& point : points) {
      spread += std::pow(point[axis] - mean[axis], 2);
    }
  }
  spread = std::sqrt(spread);
  const std::size_t u = 3 * points.size();
  std::vector<std::vector<double>> G(7, std::vector<double>(u, 0.0));
  for (std::size_t p = 0; p < points.size(); ++p) {
    const double x = (points[p][0] - mean[0]) / spread;
    const double y = (points[p][1] - mean[1]) / spread;
    const double z = (points[p][2] - mean[2]) / spread;
    const double rows[7][3] = {{1 / std::sqrt(n), 0, 0},
                               {0, 1 / std::sqrt(n), 0},
                               {0, 0, 1 / std::sqrt(n)},
                               {0, -z, y},
                               {z, 0, -x},
                               {-y, x, 0},
                               {x, y, z}};
    for (int r = 0; r < 7; ++r) {
      for (int axis = 0; axis < 3; ++axis) {
        G[r][3 * p + axis] = rows[r][axis];
      }
    }
  }
  std::vector<std::vector<double>> gram(u, std::vector<double>(u, 0.0));
  for (std::size_t j = 0; j < u; ++j) {
    for (std::size_t k = 0; k < u; ++k) {
      for (int r = 0; r < 7; ++r) {
        gram[j][k] += G[r][j] * G[r][k];
      }
    }
  }
  return gram;
}

// A free network of three points and GNSS baselines: N = AᵀPA is singular (translations), so
// the step solves only with GᵀG added; the inverse returned is that of N + damping + GᵀG.
// Without the inverse, normalInverse is u empty rows.
TEST(Iterate, FreeNetworkAddsTheDatumAndReturnsTheInverseWithIt) {
  const std::vector<std::vector<double>> coordinates = {
      {10.0, 20.0, 1.0}, {110.0, 25.0, 3.0}, {50.0, 90.0, 2.0}};
  TestHost host;
  for (uint64 id = 1; id <= 9; ++id) {
    host.Value(id, coordinates[(id - 1) / 3][(id - 1) % 3]);
  }
  host.Point(1);
  host.Point(4);
  host.Point(7);
  struct Baseline {
    uint64 from;
    uint64 to;
    double tolerance;
  };
  const Baseline baselines[] = {{1, 4, 1.0}, {4, 7, 2.0}, {1, 7, 0.5}};
  const std::size_t u = 9;
  std::vector<std::vector<double>> N(u, std::vector<double>(u, 0.0));
  for (const Baseline& baseline : baselines) {
    for (uint64 axis = 0; axis < 3; ++axis) {
      const uint64 to = baseline.to + axis;
      const uint64 from = baseline.from + axis;
      host.Observe(0.5, baseline.tolerance, {{to, 1.0}, {from, -1.0}});
      const double weight = 1.0 / baseline.tolerance;
      N[to - 1][to - 1] += weight;
      N[from - 1][from - 1] += weight;
      N[to - 1][from - 1] -= weight;
      N[from - 1][to - 1] -= weight;
    }
  }
  host.model.diagonalDamping = 0.25;
  const auto gram = DenseDatumGram(coordinates);
  for (std::size_t j = 0; j < u; ++j) {
    N[j][j] += 0.25;
    for (std::size_t k = 0; k < u; ++k) {
      N[j][k] += gram[j][k];
    }
  }

  host.Step(true);

  const SparseMatrix& Q = host.model.normalInverse;
  ASSERT_EQ(Q.rows.size(), u);
  EXPECT_EQ(Q.columnCount, u);
  std::vector<std::vector<double>> dense(u, std::vector<double>(u, 0.0));
  for (std::size_t r = 0; r < u; ++r) {
    for (const auto& [column, value] : Q.rows[r]) {
      dense[r][column] = value;
    }
  }
  double worst = 0.0;
  for (std::size_t i = 0; i < u; ++i) {
    for (std::size_t k = 0; k < u; ++k) {
      double product = 0.0;
      for (std::size_t j = 0; j < u; ++j) {
        product += N[i][j] * dense[j][k];
      }
      worst = std::fmax(worst, std::fabs(product - (i == k ? 1.0 : 0.0)));
    }
  }
  EXPECT_LE(worst, 1e3 * kEpsilon);

  host.Step(false);
  ASSERT_EQ(host.model.normalInverse.rows.size(), u);
  EXPECT_EQ(host.model.normalInverse.columnCount, u);
  for (const SparseRow& row : host.model.normalInverse.rows) {
    EXPECT_TRUE(row.Empty());
  }
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
  EXPECT_EQ(host.model.unknownCount, 2u);
  EXPECT_EQ(first.GetValue(), 0.25);  // the first row was complete
  EXPECT_EQ(second.GetValue(), 0.0);
  EXPECT_EQ(host[1].Value, 1.0);
  EXPECT_EQ(sigma0, -2.0);
  EXPECT_EQ(host.model.sigma0, -1.0);
  EXPECT_EQ(host.model.normalInverse.columnCount, 7u);
}

}  // namespace
