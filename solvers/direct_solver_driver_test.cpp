#include "solvers/direct_solver_driver.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "solvers/solve_dispatch.h"

namespace {

using Dense = std::vector<std::vector<double>>;
constexpr double eps = std::numeric_limits<double>::epsilon();

// Fills the hand-over area and restores it to its initial contents afterwards.
class HandOver {
 public:
  HandOver(std::vector<PardisoTriplet> records, std::vector<double> b)
      : triplets(std::move(records)),
        rightHandSide(std::move(b)),
        solution(rightHandSide.size(), -99.0) {
    pardisoTriplets = triplets.data();
    pardisoTripletCount = triplets.size();
    pardisoDimension = static_cast<std::int32_t>(rightHandSide.size());
    pardisoRightHandSide = rightHandSide.data();
    pardisoSolution = solution.data();
  }
  ~HandOver() {
    pardisoTriplets = nullptr;
    pardisoTripletCount = 0;
    pardisoDimension = 0;
    pardisoRightHandSide = nullptr;
    pardisoSolution = nullptr;
  }
  std::vector<PardisoTriplet> triplets;
  std::vector<double> rightHandSide;
  std::vector<double> solution;
};

// Every non-zero of the dense matrix, by rows, lower entries included.
std::vector<PardisoTriplet> Records(const Dense& m) {
  std::vector<PardisoTriplet> records;
  for (std::uint32_t i = 0; i < m.size(); ++i)
    for (std::uint32_t j = 0; j < m.size(); ++j)
      if (m[i][j] != 0.0) records.push_back({j, i, m[i][j]});
  return records;
}

// Dense Gaussian elimination with partial pivoting, the independent reference.
std::vector<double> DenseSolve(Dense m, std::vector<double> b) {
  std::size_t n = b.size();
  for (std::size_t k = 0; k < n; ++k) {
    std::size_t p = k;
    for (std::size_t i = k + 1; i < n; ++i)
      if (std::fabs(m[i][k]) > std::fabs(m[p][k])) p = i;
    std::swap(m[k], m[p]);
    std::swap(b[k], b[p]);
    for (std::size_t i = k + 1; i < n; ++i) {
      double f = m[i][k] / m[k][k];
      for (std::size_t j = k; j < n; ++j)
        m[i][j] -= f * m[k][j];
      b[i] -= f * b[k];
    }
  }
  std::vector<double> x(n);
  for (std::size_t i = n; i-- > 0;) {
    double s = b[i];
    for (std::size_t j = i + 1; j < n; ++j)
      s -= m[i][j] * x[j];
    x[i] = s / m[i][i];
  }
  return x;
}

Dense RandomPositiveDefinite(int n, std::mt19937& rng) {
  std::uniform_real_distribution<double> value(-1.0, 1.0);
  Dense m(n, std::vector<double>(n, 0.0));
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < i; ++j)
      if (rng() % 3 == 0) m[i][j] = m[j][i] = value(rng);
  for (int i = 0; i < n; ++i) {
    double s = 1.0;
    for (double v : m[i])
      s += std::fabs(v);
    m[i][i] = s;
  }
  return m;
}

void ExpectClose(const std::vector<double>& x, const std::vector<double>& reference,
                 double relative) {
  double scale = 0.0;
  for (double v : reference)
    scale = std::max(scale, std::fabs(v));
  ASSERT_EQ(x.size(), reference.size());
  for (std::size_t i = 0; i < x.size(); ++i)
    EXPECT_NEAR(x[i], reference[i], relative * scale);
}

TEST(DirectSolverDriver, SolvesPositiveDefiniteSystemsLikeTheCompactPath) {
  std::mt19937 rng(2024);
  for (int n : {1, 4, 25, 120}) {
    SCOPED_TRACE(n);
    Dense m = RandomPositiveDefinite(n, rng);
    std::vector<double> b(n);
    for (double& v : b)
      v = static_cast<double>(rng() % 1000) / 10.0 - 50.0;
    HandOver area(Records(m), b);
    testing::internal::CaptureStdout();
    SolveWithPardiso();
    std::string out = testing::internal::GetCapturedStdout();
    EXPECT_NE(out.find("\nReordering completed ... \nNumber of nonzeros in factors = "),
              std::string::npos);
    EXPECT_NE(out.find("\nNumber of factorization MFLOPS = "), std::string::npos);
    double tolerance = 1e3 * eps;
    ExpectClose(area.solution, DenseSolve(m, b), tolerance);

    SparseMatrix N(n, n);
    for (int i = 0; i < n; ++i)
      for (int j = 0; j < n; ++j)
        SetElement(N, i, j, m[i][j]);
    DenseVector compact(n);
    for (int i = 0; i < n; ++i)
      compact[i] = b[i];
    ASSERT_TRUE(SolveCompact(N, compact));
    ExpectClose(area.solution, std::vector<double>(compact.data(), compact.data() + n), tolerance);
  }
}

TEST(DirectSolverDriver, InsertsMissingDiagonalsAndSolvesIndefiniteSystems) {
  struct Case {
    const char* name;
    Dense m;
  };
  std::vector<Case> cases = {
      // Row 1 has no diagonal but an entry right of it: a 0.0 diagonal is inserted.
      {"zero diagonal in row 1", {{4, 1, 0}, {1, 0, 2}, {0, 2, 5}}},
      // Row 0 starts right of its diagonal.
      {"zero diagonal in row 0", {{0, 3, 1}, {3, 2, 0}, {1, 0, -6}}},
      {"indefinite", {{2, -1, 0, 0}, {-1, -3, 1, 0}, {0, 1, 1, 2}, {0, 0, 2, -4}}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    std::vector<double> b = {1, -2, 3, 0.5};
    b.resize(c.m.size());
    HandOver area(Records(c.m), b);
    testing::internal::CaptureStdout();
    SolveWithPardiso();
    testing::internal::GetCapturedStdout();
    ExpectClose(area.solution, DenseSolve(c.m, b), 1e3 * eps);
  }
}

TEST(DirectSolverDriver, EmptyHandOverAreaTouchesNothing) {
  // Nothing fills the area in the adjustment: order 0, no records, no arrays.
  testing::internal::CaptureStdout();
  SolveWithPardiso();
  std::string out = testing::internal::GetCapturedStdout();
  EXPECT_EQ(out.find("Reordering completed"), std::string::npos) << out;
  EXPECT_EQ(out.find("ERROR"), std::string::npos) << out;
  EXPECT_EQ(pardisoSolution, nullptr);
  EXPECT_EQ(pardisoDimension, 0);
}

TEST(DirectSolverDriver, FailedPhaseZeroesTheSolutionSilently) {
  // The only record lies below the diagonal and is skipped: the one row is empty and the
  // analysis refuses the structure.
  HandOver area({{0, 1, 1.0}}, {1.0});
  testing::internal::CaptureStdout();
  SolveWithPardiso();
  std::string out = testing::internal::GetCapturedStdout();
  EXPECT_EQ(area.solution, std::vector<double>(1, 0.0)) << out;
  EXPECT_EQ(out.find("ERROR"), std::string::npos) << out;
  EXPECT_EQ(out.find("Reordering completed"), std::string::npos) << out;
}

TEST(DirectSolverDriverDeathTest, RowGapEndsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  HandOver area({{0, 0, 1.0}, {2, 2, 1.0}}, {1.0, 1.0, 1.0});
  EXPECT_EXIT(SolveWithPardiso(), testing::ExitedWithCode(255), "");
}

}  // namespace
