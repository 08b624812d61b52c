#include "tools/zr-adjust/solve_check.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <string>

namespace zradjust {
namespace {

// Three unknowns observed directly and through two differences, the direct observations'
// weights 28 orders of magnitude apart (the case the library's factorisation rejects).
struct Equations {
  Equations(double base, double misclosureScale) {
    for (int j = 0; j < 3; ++j)
      values.emplace_back(static_cast<std::uint64_t>(j + 1), base + j);
    for (ZR::VOValue& value : values) {
      step.columns.push_back(&value);
      step.before.push_back(value.Value);
    }
    step.rows = {{{0, 1.0}}, {{1, 1.0}}, {{2, 1.0}}, {{0, -1.0}, {1, 1.0}}, {{1, -1.0}, {2, 1.0}}};
    step.weights = {1e-4, 1e24, 1e-4, 1.0, 2.0};
    step.misclosures = {0.01, 0.003, -0.02, 0.004, -0.001};
    for (double& l : step.misclosures)
      l *= misclosureScale;
  }
  // N and b, dense.
  void Normal(double n[3][3], double b[3]) const {
    for (int i = 0; i < 3; ++i) {
      b[i] = 0.0;
      for (int j = 0; j < 3; ++j)
        n[i][j] = 0.0;
    }
    for (std::size_t r = 0; r < step.rows.size(); ++r) {
      for (const auto& [i, a] : step.rows[r]) {
        b[i] += a * step.weights[r] * step.misclosures[r];
        for (const auto& [j, c] : step.rows[r])
          n[i][j] += a * step.weights[r] * c;
      }
    }
  }
  // N⁻¹·b by Cramer's rule, independent of the code under test.
  std::array<double, 3> Solution() const {
    double n[3][3], b[3];
    Normal(n, b);
    auto det = [](double m[3][3]) {
      return m[0][0] * (m[1][1] * m[2][2] - m[1][2] * m[2][1]) -
             m[0][1] * (m[1][0] * m[2][2] - m[1][2] * m[2][0]) +
             m[0][2] * (m[1][0] * m[2][1] - m[1][1] * m[2][0]);
    };
    std::array<double, 3> x;
    for (int k = 0; k < 3; ++k) {
      double m[3][3];
      for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
          m[i][j] = j == k ? b[i] : n[i][j];
      x[k] = det(m) / det(n);
    }
    return x;
  }
  void Apply(const std::array<double, 3>& x, double stepFactor) {
    for (int j = 0; j < 3; ++j)
      values[j].Value = step.before[j] + stepFactor * x[j];
  }
  std::vector<ZR::VOValue> values;
  StepEquations step;
};

TEST(SolveCheck, TellsASolutionFromTheRightHandSide) {
  struct Case {
    const char* name;
    double base, misclosureScale, stepFactor;
    bool rightHandSide, solves;
  } cases[] = {
      {"the solution", 100.0, 1.0, 1.0, false, true},
      {"the solution, half a step", 100.0, 1.0, 0.5, false, true},
      {"near convergence at large coordinates: x is mostly rounding", 5e6, 1e-9, 1.0, false, true},
      {"the right-hand side taken for the solution", 100.0, 1.0, 1.0, true, false},
      {"the right-hand side, the heavy unknown's misclosure zero", 100.0, 1.0, 1.0, true, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Equations equations(c.base, c.misclosureScale);
    if (std::string(c.name).find("zero") != std::string::npos) equations.step.misclosures[1] = 0.0;
    std::array<double, 3> x = equations.Solution();
    if (c.rightHandSide) {
      double n[3][3], b[3];
      equations.Normal(n, b);
      x = {b[0], b[1], b[2]};
    }
    equations.Apply(x, c.stepFactor);
    double measure = ScaledBackwardError(equations.step, c.stepFactor, 1e30, 0.0);
    EXPECT_GE(measure, 0.0);
    EXPECT_EQ(measure <= backwardErrorLimit, c.solves) << measure;
  }
}

TEST(SolveCheck, AClampedStepIsJudgedByTheLibrarysResidual) {
  Equations equations(100.0, 1.0);
  double n[3][3], b[3];
  equations.Normal(n, b);
  equations.Apply({1e-3, 1e-3, -1e-3}, 1.0);  // clamped at 1e-3
  double norm = std::sqrt(b[0] * b[0] + b[1] * b[1] + b[2] * b[2]);
  EXPECT_LE(ScaledBackwardError(equations.step, 1.0, 1e-3, 1e-14 * norm), backwardErrorLimit);
  EXPECT_GT(ScaledBackwardError(equations.step, 1.0, 1e-3, 1e-3 * norm), backwardErrorLimit);
  EXPECT_LT(ScaledBackwardError(equations.step, 0.0, 1e-3, 0.0), 0.0);  // step factor 0
}

}  // namespace
}  // namespace zradjust
