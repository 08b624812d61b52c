#include "solvers/solve_dispatch.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "solvers/compact_form.h"
#include "solvers/compact_ldlt.h"

namespace {

using Dense = std::vector<std::vector<double>>;
constexpr double eps = std::numeric_limits<double>::epsilon();

SparseMatrix Sparse(const Dense& m) {
  std::uint32_t n = static_cast<std::uint32_t>(m.size());
  SparseMatrix N(n, n);
  for (std::uint32_t i = 0; i < n; ++i)
    for (std::uint32_t j = 0; j < m[i].size(); ++j)
      SetElement(N, i, j, m[i][j]);
  return N;
}

DenseVector Vector(const std::vector<double>& v) {
  DenseVector d(v.size());
  for (std::size_t i = 0; i < v.size(); ++i)
    d[i] = v[i];
  return d;
}

// ‖b − M·x‖₂ from the dense matrix, every sum ascending.
double ResidualNorm(const Dense& m, const std::vector<double>& b, const DenseVector& x) {
  double sum = 0.0;
  for (std::size_t i = 0; i < b.size(); ++i) {
    double mx = 0.0;
    for (std::size_t j = 0; j < m[i].size(); ++j)
      if (m[i][j] != 0.0) mx = mx + x[j] * m[i][j];
    double r = b[i] - mx;
    sum = sum + r * r;
  }
  return std::sqrt(sum);
}

// Random symmetric, diagonally dominant, with a variable profile.
Dense RandomPositiveDefinite(int n, std::mt19937& rng) {
  std::uniform_real_distribution<double> value(-1.0, 1.0);
  Dense m(n, std::vector<double>(n, 0.0));
  for (int i = 0; i < n; ++i) {
    int first = std::max(0, i - static_cast<int>(rng() % 6));
    for (int j = first; j < i; ++j)
      if (j == first || rng() % 2 == 0) m[i][j] = m[j][i] = value(rng);
  }
  for (int i = 0; i < n; ++i) {
    double s = 1.0;
    for (double v : m[i])
      s += std::fabs(v);
    m[i][i] = s;
  }
  return m;
}

TEST(SolveDispatch, SelectorMaskChoosesThePath) {
  Dense m = {{4, 2, 0}, {2, 3, 1}, {0, 1, 5}};
  std::vector<double> b = {2, -2, -6};
  SparseMatrix N = Sparse(m);
  struct Case {
    std::uint8_t selector;
    bool compact;
  };
  for (Case c : {Case{0x00, true}, Case{0x80, true}, Case{0x01, false}, Case{0xFF, false},
                 Case{0x40, false}}) {
    SCOPED_TRACE(static_cast<int>(c.selector));
    DenseVector x(7, 5.0);
    double norm = -7.0;
    testing::internal::CaptureStdout();
    SolveNormalEquations(N, Vector(b), x, c.selector, 123.0, &norm);
    testing::internal::GetCapturedStdout();
    ASSERT_EQ(x.size(), 3u);
    if (c.compact) {
      // Exact in binary: x = (1, −1, −1), residual 0.
      EXPECT_EQ(x[0], 1.0);
      EXPECT_EQ(x[1], -1.0);
      EXPECT_EQ(x[2], -1.0);
      EXPECT_EQ(norm, 0.0);
    } else {
      // The direct path is wired only up to the call: zeros, and the norm is not written.
      for (std::size_t i = 0; i < 3; ++i)
        EXPECT_EQ(x[i], 0.0);
      EXPECT_EQ(norm, -7.0);
    }
  }
}

TEST(SolveDispatch, ResidualNormShowsWhatTheCompactPathGot) {
  struct Case {
    const char* name;
    Dense m;
    std::vector<double> b;
    std::vector<double> x;  // empty: check only the norm against the returned x
  };
  std::vector<Case> cases = {
      {"1x1 negative, first pivot as it stands", {{-2}}, {3}, {-1.5}},
      // Second pivot −3 taken as 3: a wrong x that only the norm reveals.
      {"negative later pivot", {{1, 2}, {2, 1}}, {1, 1}, {5.0 / 3.0, -1.0 / 3.0}},
      // Row 1 has no diagonal but an entry above it: the build fails and x stays b.
      {"build failure", {{2, 1, 0}, {1, 0, 4}, {0, 4, 9}}, {1, 2, 3}, {1, 2, 3}},
      // Small pivot quotient: x stays b.
      {"small pivot", {{1, 0, 0}, {0, 1e-30, 0}, {0, 0, 1}}, {1, 2, 3}, {1, 2, 3}},
      {"empty system", {}, {}, {}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    DenseVector x;
    double norm = -1.0;
    SolveNormalEquations(Sparse(c.m), Vector(c.b), x, 0, 0.0, &norm);
    ASSERT_EQ(x.size(), c.b.size());
    for (std::size_t i = 0; i < c.x.size(); ++i)
      EXPECT_NEAR(x[i], c.x[i], 4 * eps * std::fabs(c.x[i])) << i;
    EXPECT_EQ(norm, ResidualNorm(c.m, c.b, x));
  }
}

TEST(SolveDispatch, InverseTimesNormalMatrixIsIdentity) {
  std::mt19937 rng(99);
  for (int n : {1, 6, 40}) {
    SCOPED_TRACE(n);
    Dense m = RandomPositiveDefinite(n, rng);
    SparseMatrix Q;
    ASSERT_TRUE(InvertCompact(Sparse(m), Q));
    ASSERT_EQ(Q.RowCount(), static_cast<std::uint32_t>(n));
    EXPECT_EQ(Q.columnCount, static_cast<std::uint32_t>(n));
    for (int i = 0; i < n; ++i)
      for (int j = 0; j < n; ++j) {
        double s = 0.0;
        for (int k = 0; k < n; ++k)
          s += GetElement(Q, i, k) * m[k][j];
        EXPECT_NEAR(s, i == j ? 1.0 : 0.0, 64 * eps) << i << "," << j;
      }
  }
  // A diagonal N: reciprocals of the absolute values from the second row on, no zeros stored.
  SparseMatrix Q;
  ASSERT_TRUE(InvertCompact(Sparse({{-2, 0, 0}, {0, -4, 0}, {0, 0, 8}}), Q));
  EXPECT_EQ(Q.EntryCount(), 3u);
  EXPECT_EQ(GetElement(Q, 0, 0), -0.5);
  EXPECT_EQ(GetElement(Q, 1, 1), 0.25);
  EXPECT_EQ(GetElement(Q, 2, 2), 0.125);
}

TEST(SolveDispatch, InverseColumnsAreTheSingleSolvesBitForBit) {
  // The inverse solves its unit vectors side by side; each column must be exactly what a solve
  // of e_c on its own gives, without its exact zeros. Orders around the block of columns, an
  // indefinite N (negative pivots), and a NaN in N (factors not finite).
  std::mt19937 rng(4711);
  struct Case {
    int n;
    bool indefinite, nan;
  };
  for (Case c : {Case{1, false, false}, Case{15, false, false}, Case{16, true, false},
                 Case{17, false, false}, Case{70, true, false}, Case{40, false, true}}) {
    SCOPED_TRACE(testing::Message()
                 << "n=" << c.n << " indefinite=" << c.indefinite << " nan=" << c.nan);
    Dense m = RandomPositiveDefinite(c.n, rng);
    for (int i = 1; c.indefinite && i < c.n; i += 3)
      m[i][i] = -m[i][i];
    if (c.nan) m[20][20] = std::nan("");
    SparseMatrix N = Sparse(m);
    SparseMatrix Q;
    bool ok = InvertCompact(N, Q);

    CompactForm form;
    ASSERT_TRUE(BuildCompactForm(N, form));
    std::int32_t flag = 0;
    COMPACT_FACTORIZE_2(c.n, form.diagonalPositions, form.values, &flag);
    ASSERT_EQ(ok, flag == 0);
    EXPECT_EQ(CompactFactorsFinite(c.n, form.diagonalPositions, form.values), !c.nan);
    EXPECT_TRUE(ok);
    std::size_t stored = 0;
    for (int col = 0; ok && col < c.n; ++col) {
      std::vector<double> e(c.n, 0.0);
      e[col] = 1.0;
      COMPACT_SOLVE_2(c.n, form.diagonalPositions, form.values, e.data(), 1);
      for (int r = 0; r < c.n; ++r) {
        const double* q = Q.rows[r].Find(static_cast<std::uint32_t>(col));
        if (e[r] == 0.0) {
          EXPECT_EQ(q, nullptr) << r << "," << col;
          continue;
        }
        ++stored;
        ASSERT_NE(q, nullptr) << r << "," << col;
        bool same =
            (std::isnan(*q) && std::isnan(e[r])) || std::memcmp(q, &e[r], sizeof(double)) == 0;
        EXPECT_TRUE(same) << r << "," << col << ": " << *q << " against " << e[r];
      }
    }
    EXPECT_EQ(Q.EntryCount(), stored);
    ReleaseCompactForm(form);
  }
}

TEST(SolveDispatch, BuildFailuresLeaveInputsAlone) {
  struct Case {
    const char* name;
    SparseMatrix N;
    bool fails;
  };
  SparseMatrix emptyRow(3, 3), firstAbove(2, 2), aboveMissingDiagonal(2, 2), aboveDiagonal(2, 2);
  SetElement(emptyRow, 0, 0, 1.0);
  SetElement(emptyRow, 2, 2, 1.0);
  SetElement(firstAbove, 0, 1, 1.0);
  SetElement(firstAbove, 1, 1, 1.0);
  SetElement(aboveMissingDiagonal, 0, 0, 1.0);
  SetElement(aboveMissingDiagonal, 1, 0, 1.0);
  SetElement(aboveMissingDiagonal, 0, 2, 1.0);
  aboveMissingDiagonal.rows[1].Store(3, 1.0);
  // Entries above a present diagonal are never read.
  SetElement(aboveDiagonal, 0, 0, 2.0);
  SetElement(aboveDiagonal, 0, 1, 1e300);
  SetElement(aboveDiagonal, 1, 1, 4.0);
  for (const Case& c : {Case{"empty row", emptyRow, true},
                        Case{"first column above the diagonal", firstAbove, true},
                        Case{"entry above a missing diagonal", aboveMissingDiagonal, true},
                        Case{"entries above the diagonal", aboveDiagonal, false}}) {
    SCOPED_TRACE(c.name);
    std::uint32_t n = c.N.RowCount();
    DenseVector x(n, 3.0);
    EXPECT_EQ(SolveCompact(c.N, x), !c.fails);
    SparseMatrix Q(1, 1);
    SetElement(Q, 0, 0, 9.0);
    EXPECT_EQ(InvertCompact(c.N, Q), !c.fails);
    EXPECT_EQ(Q.RowCount(), n);
    if (c.fails) {
      for (std::uint32_t i = 0; i < n; ++i)
        EXPECT_EQ(x[i], 3.0);
      EXPECT_EQ(Q.EntryCount(), 0u);
    } else {
      EXPECT_EQ(x[0], 1.5);
      EXPECT_EQ(x[1], 0.75);
    }
  }
}

TEST(SolveDispatch, RowEndingBeforeItsDiagonalShiftsLaterPositions) {
  // Row 1 holds only column 0: it keeps its slot but gets no position, so row 2's diagonal
  // position lands in element 1 and element 2 stays unset.
  SparseMatrix N(3, 3);
  SetElement(N, 0, 0, 4.0);
  SetElement(N, 1, 0, 1.0);
  SetElement(N, 2, 0, 2.0);
  SetElement(N, 2, 2, 5.0);
  CompactForm form;
  ASSERT_TRUE(BuildCompactForm(N, form));
  EXPECT_EQ(form.diagonalPositions[0], 1u);
  EXPECT_EQ(form.diagonalPositions[1], 5u);
  std::vector<double> values(form.values, form.values + 5);
  EXPECT_EQ(values, (std::vector<double>{4, 1, 2, 0, 5}));
  ReleaseCompactForm(form);
}

}  // namespace
