#include "solvers/compact_ldlt.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#if defined(__SANITIZE_ADDRESS__)
// From the sanitizer runtime (its header does not come with every compiler).
extern "C" std::size_t __sanitizer_get_current_allocated_bytes();
#else
#include <malloc.h>
#endif

namespace {

constexpr double eps = std::numeric_limits<double>::epsilon();

struct Compact {
  std::vector<std::uint32_t> diagPos;
  std::vector<double> values;
};

// Compact storage of the lower triangle of dense, row i from first[i].
Compact Pack(const std::vector<std::vector<double>>& dense, const std::vector<int>& first) {
  Compact c;
  for (std::size_t i = 0; i < dense.size(); ++i) {
    for (std::size_t j = first[i]; j <= i; ++j)
      c.values.push_back(dense[i][j]);
    c.diagPos.push_back(static_cast<std::uint32_t>(c.values.size()));
  }
  return c;
}

Compact Diagonal(const std::vector<double>& d) {
  Compact c{{}, d};
  for (std::uint32_t i = 1; i <= d.size(); ++i)
    c.diagPos.push_back(i);
  return c;
}

// Dense Gaussian elimination with partial pivoting: an independent reference solution.
std::vector<double> DenseSolve(std::vector<std::vector<double>> m, std::vector<double> b) {
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

std::size_t AllocatedBytes() {
#if defined(__SANITIZE_ADDRESS__)
  return __sanitizer_get_current_allocated_bytes();
#else
  return mallinfo2().uordblks;
#endif
}

TEST(CompactLdlt, HandCheckedFactorsAndSolutions) {
  struct Case {
    const char* name;
    Compact matrix;
    std::vector<double> factors;
    std::vector<double> b;
    std::vector<double> x;
  };
  std::vector<Case> cases = {
      {"[[4,2],[2,3]]", {{1, 3}, {4, 2, 3}}, {4, 0.5, 2}, {2, 1}, {0.5, 0}},
      // d1 = 1 − 4 = −3 is stored as 3: a solution of a different system, and no failure.
      {"[[1,2],[2,1]]",
       {{1, 3}, {1, 2, 1}},
       {1, 2, 3},
       {1, 1},
       {1.0 - 2.0 * (-1.0 / 3.0), -1.0 / 3.0}},
      // Row 0 is left as it stands, later pivots lose their sign.
      {"diagonal (-2,-4,5)", Diagonal({-2, -4, 5}), {-2, 4, 5}, {1, 2, 5}, {-0.5, 0.5, 1}},
      // Every examined pivot zero: 0/0 is NaN and passes.
      {"diagonal (1,0,0)", Diagonal({1, 0, 0}), {1, 0, 0}, {}, {}},
      {"diagonal (1e-30,1,1)", Diagonal({1e-30, 1, 1}), {1e-30, 1, 1}, {}, {}},
      {"order 1, negative", Diagonal({-4}), {-4}, {2}, {-0.5}},
  };
  for (Case& c : cases) {
    SCOPED_TRACE(c.name);
    std::int32_t n = static_cast<std::int32_t>(c.matrix.diagPos.size());
    std::int32_t flag = 0;
    EXPECT_EQ(COMPACT_FACTORIZE_2(n, c.matrix.diagPos.data(), c.matrix.values.data(), &flag), 0);
    EXPECT_EQ(flag, 0);
    EXPECT_EQ(c.matrix.values, c.factors);
    if (c.b.empty()) continue;
    EXPECT_EQ(COMPACT_SOLVE_2(n, c.matrix.diagPos.data(), c.matrix.values.data(), c.b.data(), 1),
              0);
    for (std::size_t i = 0; i < c.x.size(); ++i)
      EXPECT_NEAR(c.b[i], c.x[i], 4 * eps * std::fabs(c.x[i])) << i;
  }
}

TEST(CompactLdlt, SmallPivotQuotientSetsFlagAndKeepsScratch) {
  // Rows 1 and 2 give min 1e-30 and max 1; the scratch of the failing call stays allocated.
  const std::int32_t n = 1000;
  Compact c = Diagonal(std::vector<double>(n, 1.0));
  c.values[1] = 1e-30;
  std::int32_t flag = 0;
  std::size_t before = AllocatedBytes();
  EXPECT_EQ(COMPACT_FACTORIZE_2(n, c.diagPos.data(), c.values.data(), &flag), -1);
  std::size_t after = AllocatedBytes();
  EXPECT_EQ(flag, 1);
  EXPECT_GE(after - before, n * (sizeof(double*) + sizeof(double) + sizeof(std::int32_t)));
  EXPECT_EQ(c.values[1], 1e-30);

  // A successful call gives everything back, and leaves the flag alone.
  Compact ok = Diagonal(std::vector<double>(n, 2.0));
  flag = 7;
  before = AllocatedBytes();
  EXPECT_EQ(COMPACT_FACTORIZE_2(n, ok.diagPos.data(), ok.values.data(), &flag), 0);
  EXPECT_EQ(AllocatedBytes(), before);
  EXPECT_EQ(flag, 7);
}

TEST(CompactLdlt, SilentOnSuccessAndFailure) {
  Compact c = Diagonal({1, 1e-30, 1});
  std::int32_t flag = 0;
  testing::internal::CaptureStdout();
  COMPACT_FACTORIZE_2(3, c.diagPos.data(), c.values.data(), &flag);
  std::vector<double> b(3, 1.0);
  COMPACT_SOLVE_2(3, c.diagPos.data(), c.values.data(), b.data(), 1);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

// Random symmetric positive definite matrices in a given profile, with zeros inside the
// profile and rows that start at their diagonal.
struct Profiled {
  std::vector<std::vector<double>> dense;
  std::vector<int> first;
};

Profiled RandomProfile(int n, int band, bool variable, std::mt19937& rng) {
  std::uniform_real_distribution<double> value(-1.0, 1.0);
  std::uniform_int_distribution<int> width(0, band);
  Profiled p{std::vector<std::vector<double>>(n, std::vector<double>(n, 0.0)), {}};
  for (int i = 0; i < n; ++i) {
    int f = std::max(0, i - (variable ? width(rng) : band));
    p.first.push_back(f);
    for (int j = f; j < i; ++j) {
      // A third of the slots stay zero (a gap inside the profile), except the first.
      double v = (j != f && rng() % 3 == 0) ? 0.0 : value(rng);
      p.dense[i][j] = p.dense[j][i] = v;
    }
  }
  for (int i = 0; i < n; ++i) {
    double s = 1.0;
    for (int j = 0; j < n; ++j)
      s += std::fabs(p.dense[i][j]);
    p.dense[i][i] = s;
  }
  return p;
}

TEST(CompactLdlt, SolvesRandomPositiveDefiniteProfiles) {
  std::mt19937 rng(12345);
  struct Case {
    int n, band;
    bool variable;
  };
  for (Case c : {Case{1, 0, false}, Case{5, 1, false}, Case{40, 3, false}, Case{40, 12, true},
                 Case{200, 30, true}, Case{60, 59, false}}) {
    SCOPED_TRACE(testing::Message() << "n=" << c.n << " band=" << c.band);
    Profiled p = RandomProfile(c.n, c.band, c.variable, rng);
    Compact m = Pack(p.dense, p.first);
    std::vector<double> b(c.n);
    for (double& v : b)
      v = static_cast<double>(rng() % 1000) / 100.0 - 5.0;
    std::vector<double> reference = DenseSolve(p.dense, b);
    std::int32_t flag = 0;
    ASSERT_EQ(COMPACT_FACTORIZE_2(c.n, m.diagPos.data(), m.values.data(), &flag), 0);
    ASSERT_EQ(COMPACT_SOLVE_2(c.n, m.diagPos.data(), m.values.data(), b.data(), 1), 0);
    double scale = 0.0;
    for (double v : reference)
      scale = std::max(scale, std::fabs(v));
    for (int i = 0; i < c.n; ++i)
      EXPECT_NEAR(b[i], reference[i], 64 * c.n * eps * scale) << i;
  }
}

TEST(CompactLdlt, SeveralRightHandSidesMatchSingleSolvesBitForBit) {
  std::mt19937 rng(7);
  Profiled p = RandomProfile(30, 6, true, rng);
  Compact m = Pack(p.dense, p.first);
  std::int32_t flag = 0;
  ASSERT_EQ(COMPACT_FACTORIZE_2(30, m.diagPos.data(), m.values.data(), &flag), 0);
  std::vector<double> stacked(90);
  for (double& v : stacked)
    v = static_cast<double>(rng() % 2001) / 7.0 - 100.0;
  std::vector<double> single = stacked;
  ASSERT_EQ(COMPACT_SOLVE_2(30, m.diagPos.data(), m.values.data(), stacked.data(), 3), 0);
  for (int r = 0; r < 3; ++r)
    ASSERT_EQ(COMPACT_SOLVE_2(30, m.diagPos.data(), m.values.data(), single.data() + 30 * r, 1), 0);
  EXPECT_EQ(std::memcmp(stacked.data(), single.data(), stacked.size() * sizeof(double)), 0);

  // No right-hand side, or an empty system, changes nothing and succeeds.
  std::vector<double> untouched = single;
  EXPECT_EQ(COMPACT_SOLVE_2(30, m.diagPos.data(), m.values.data(), single.data(), 0), 0);
  EXPECT_EQ(single, untouched);
  EXPECT_EQ(COMPACT_FACTORIZE_2(0, nullptr, nullptr, &flag), 0);
  EXPECT_EQ(COMPACT_SOLVE_2(0, nullptr, nullptr, nullptr, 1), 0);
}

}  // namespace
