#include "solvers/solve_dispatch.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

#include "solvers/compact_form.h"
#include "solvers/direct_solver_driver.h"
#include "solvers/solver_test_support.h"
#include "sparse/normal_products.h"

namespace {

using solver_test::Dense;
using solver_test::eps;
using solver_test::ToSparse;

DenseVector Vector(const std::vector<double>& v) {
  DenseVector d(v.size());
  std::copy(v.begin(), v.end(), d.data());
  return d;
}

// ‖b − M·x‖₂ from the dense matrix, over its non-zeros, every sum ascending.
double ResidualNorm(const Dense& m, const std::vector<double>& b, const DenseVector& x) {
  double sum = 0.0;
  for (std::size_t i = 0; i < b.size(); ++i) {
    double mx = 0.0;
    for (std::size_t j = 0; j < m[i].size(); ++j)
      if (m[i][j] != 0.0) mx = mx + x[j] * m[i][j];
    sum = sum + (b[i] - mx) * (b[i] - mx);
  }
  return std::sqrt(sum);
}

TEST(SolveDispatch, SelectorChoosesThePathAndTheNormShowsTheResult) {
  const Dense m = {{4, 2, 0}, {2, 3, 1}, {0, 1, 5}};
  const std::vector<double> b = {2, -2, -6};
  struct Case {
    const char* name;
    Dense m;
    std::vector<double> b, x;
    std::uint8_t selector;
    bool direct;  // the direct path leaves zeros and does not write the norm
  };
  const Dense tiny = {{1, 0, 0}, {0, 1e-30, 0}, {0, 0, 1}};
  for (const Case& c : {
           Case{"0x80 alone", m, b, {1, -1, -1}, 0x80, false},
           Case{"0x01", m, b, {0, 0, 0}, 0x01, true},
           Case{"0xFF", m, b, {0, 0, 0}, 0xFF, true},
           // The second pivot −3 is taken as 3: a wrong x that only the norm reveals.
           Case{"0, negative later pivot", {{1, 2}, {2, 1}}, {1, 1}, {5 / 3.0, -1 / 3.0}, 0, false},
           Case{"0, small pivot quotient: x stays b", tiny, b, b, 0, false},
       }) {
    SCOPED_TRACE(c.name);
    DenseVector x(7, 5.0);
    double norm = -7.0;
    testing::internal::CaptureStdout();
    SolveNormalEquations(ToSparse(c.m), Vector(c.b), x, c.selector, 123.0, &norm);
    testing::internal::GetCapturedStdout();
    ASSERT_EQ(x.size(), c.b.size());
    for (std::size_t i = 0; i < c.x.size(); ++i)
      EXPECT_NEAR(x[i], c.x[i], 4 * eps * std::fabs(c.x[i])) << i;
    EXPECT_EQ(norm, c.direct ? -7.0 : ResidualNorm(c.m, c.b, x));
  }
}

// Solutions against the dense solve, the inverse against the identity, and every column of the
// inverse bit for bit the single solve of its unit vector without its exact zeros (orders
// around and across the blocks of columns the inverse solves together).
TEST(SolveDispatch, CompactPathAgainstDenseAndSingleSolves) {
  std::mt19937 rng(12345);
  for (const auto& [n, band] :
       std::vector<std::pair<int, int>>{{1, 0}, {20, 0}, {17, 3}, {60, 59}, {200, 30}}) {
    SCOPED_TRACE(testing::Message() << "n=" << n << " band=" << band);
    const Dense m = solver_test::RandomPositiveDefinite(n, band, rng);
    const SparseMatrix N = ToSparse(m);
    std::vector<double> b(n);
    for (double& v : b)
      v = static_cast<double>(rng() % 1000) / 100.0 - 5.0;
    DenseVector x = Vector(b);
    SparseMatrix Q;
    ASSERT_TRUE(SolveCompact(N, x));
    ASSERT_TRUE(InvertCompact(N, Q));
    ASSERT_EQ(Q.RowCount(), static_cast<std::uint32_t>(n));
    EXPECT_EQ(Q.columnCount, static_cast<std::uint32_t>(n));

    const std::vector<double> reference = solver_test::DenseSolve(m, b);
    SparseMatrix QN;
    Multiply(Q, N, QN);
    for (int i = 0; i < n; ++i) {
      EXPECT_NEAR(x[i], reference[i], 64 * n * eps * (1.0 + std::fabs(reference[i]))) << i;
      for (int j = 0; j < n; ++j)
        EXPECT_NEAR(GetElement(QN, i, j), i == j ? 1.0 : 0.0, 64 * eps) << i << "," << j;
    }
    for (int col = 0; col < n; ++col) {
      DenseVector e(n, 0.0);
      e[col] = 1.0;
      SolveCompact(N, e);
      for (int r = 0; r < n; ++r) {
        const double* q = Q.rows[r].Find(col);
        ASSERT_EQ(q != nullptr, e[r] != 0.0) << r << "," << col;
        EXPECT_TRUE(!q || solver_test::SameBits({*q}, {e[r]})) << r << "," << col;
      }
    }
  }
}

TEST(SolveDispatch, CompactFormBuild) {
  for (const auto& [name, m, builds] : std::vector<std::tuple<const char*, Dense, bool>>{
           {"empty row", {{1, 0, 0}, {0, 0, 0}, {0, 0, 1}}, false},
           {"first column above the diagonal", {{0, 1}, {0, 1}}, false},
           {"entry above a missing diagonal", {{1}, {1, 0, 0, 1}}, false},
           {"entries above the diagonal, never read", {{2, 1e300}, {0, 4}}, true}}) {
    SCOPED_TRACE(name);
    const std::uint32_t n = m.size();
    DenseVector x(n, 3.0);
    SparseMatrix Q = ToSparse({{9}});
    EXPECT_EQ(SolveCompact(ToSparse(m), x), builds);
    EXPECT_EQ(InvertCompact(ToSparse(m), Q), builds);
    EXPECT_EQ(Q.RowCount(), n);
    EXPECT_EQ(x[0], builds ? 1.5 : 3.0);
    EXPECT_EQ(x[1], builds ? 0.75 : 3.0);
    EXPECT_EQ(Q.EntryCount(), builds ? 2u : 0u);
  }

  // Row 1 ends before its diagonal: it keeps its slot but gets no position, so the positions of
  // rows 2 and 3 land in elements 1 and 2 (element 3 stays unset).
  CompactForm form;
  ASSERT_TRUE(BuildCompactForm(ToSparse({{4}, {1}, {2, 0, 5}, {0, 0, 1, 6}}), form));
  EXPECT_EQ(std::vector<std::uint32_t>(form.diagonalPositions, form.diagonalPositions + 3),
            (std::vector<std::uint32_t>{1, 5, 7}));
  EXPECT_EQ(std::vector<double>(form.values, form.values + 7),
            (std::vector<double>{4, 1, 2, 0, 5, 1, 6}));
  ReleaseCompactForm(form);
}

// Runs the driver on every non-zero of m by rows (lower ones included) and b; returns x and the
// output. The hand-over area goes back to its initial contents.
std::vector<double> Solve(const Dense& m, std::vector<double> b, std::string& out) {
  std::vector<PardisoTriplet> records;
  for (std::uint32_t i = 0; i < m.size(); ++i)
    for (std::uint32_t j = 0; j < m[i].size(); ++j)
      if (m[i][j] != 0.0) records.push_back({j, i, m[i][j]});
  std::vector<double> x(b.size(), -99.0);
  pardisoTriplets = records.data();
  pardisoTripletCount = records.size();
  pardisoDimension = static_cast<std::int32_t>(b.size());
  pardisoRightHandSide = b.data();
  pardisoSolution = x.data();
  testing::internal::CaptureStdout();
  SolveWithPardiso();
  out = testing::internal::GetCapturedStdout();
  pardisoTriplets = nullptr;
  pardisoTripletCount = 0;
  pardisoDimension = 0;
  pardisoRightHandSide = pardisoSolution = nullptr;
  return x;
}

TEST(DirectSolverDriver, SolvesRealSystemsLikeADenseSolve) {
  std::mt19937 rng(2024);
  std::vector<Dense> systems = {
      // Row 1 has no diagonal but an entry right of it: a 0.0 diagonal is inserted.
      {{4, 1, 0}, {1, 0, 2}, {0, 2, 5}},
      {{0, 3, 1}, {3, 2, 0}, {1, 0, -6}},  // row 0 starts right of its diagonal
      {{2, -1, 0, 0}, {-1, -3, 1, 0}, {0, 1, 1, 2}, {0, 0, 2, -4}},  // indefinite
  };
  for (int n : {1, 25, 120})
    systems.push_back(solver_test::RandomPositiveDefinite(n, n, rng));
  for (const Dense& m : systems) {
    SCOPED_TRACE(m.size());
    std::vector<double> b(m.size());
    for (double& v : b)
      v = static_cast<double>(rng() % 1000) / 10.0 - 50.0;
    std::string out;
    const std::vector<double> x = Solve(m, b, out);
    EXPECT_NE(out.find("\nReordering completed ... \nNumber of nonzeros in factors = "),
              std::string::npos);
    const std::vector<double> reference = solver_test::DenseSolve(m, b);
    for (std::size_t i = 0; i < x.size(); ++i)
      EXPECT_NEAR(x[i], reference[i], 1e3 * eps * (1.0 + std::fabs(reference[i]))) << i;
  }
}

TEST(DirectSolverDriver, RecordCountsBeyondAVectorRaiseTheLibrarysLengthError) {
  // The count is checked before any record is read, so no records need to exist.
  const std::uint64_t vectorMaximum = std::vector<double>().max_size();
  for (const std::uint64_t count : {vectorMaximum + 1, std::uint64_t{UINT64_MAX}}) {
    SCOPED_TRACE(count);
    pardisoTripletCount = count;
    pardisoDimension = 1;
    try {
      SolveWithPardiso();
      ADD_FAILURE() << "no exception";
    } catch (const std::length_error& error) {
      EXPECT_STREQ(error.what(), "vector<T> too long");
    }
    pardisoTripletCount = 0;
    pardisoDimension = 0;
  }
}

TEST(DirectSolverDriver, FailuresAreSilent) {
  // The area as the adjustment leaves it (order 0, nothing in it); and a lone record below the
  // diagonal, skipped, so that the analysis refuses the empty row and the solution becomes zeros.
  std::string empty, failed;
  Solve({}, {}, empty);
  EXPECT_EQ(Solve({{0}, {1}}, {1.0}, failed), std::vector<double>(1, 0.0));
  for (const std::string& out : {empty, failed}) {
    EXPECT_EQ(out.find("Reordering completed"), std::string::npos) << out;
    EXPECT_EQ(out.find("ERROR"), std::string::npos) << out;
  }
}

TEST(DirectSolverDriverDeathTest, RowGapEndsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  std::string out;
  EXPECT_EXIT(Solve({{1}, {}, {0, 0, 1}}, {1.0, 1.0, 1.0}, out), testing::ExitedWithCode(255), "");
}

}  // namespace
