#include "solvers/compact_ldlt_kernels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "solvers/compact_ldlt.h"

// The blocked passes against the plain loops, bit for bit. The reference below is the
// straightforward row loop of the factorisation and the solve, kept here on its own.

namespace {

constexpr double inf = std::numeric_limits<double>::infinity();

struct Profile {
  std::vector<std::uint32_t> diagPos;
  std::vector<double> values;
  std::vector<std::int32_t> first;
};

std::vector<std::int32_t> FirstColumns(const std::vector<std::uint32_t>& diagPos) {
  std::vector<std::int32_t> first(diagPos.size(), 0);
  for (std::size_t i = 1; i < diagPos.size(); ++i)
    first[i] = static_cast<std::int32_t>(diagPos[i - 1] - diagPos[i] + i + 1);
  return first;
}

int ReferenceFactorize(std::int32_t n, const std::uint32_t* diagPos, double* a,
                       std::int32_t* flag) {
  std::vector<std::uint32_t> pos(diagPos, diagPos + std::max(n, 0));
  std::vector<std::int32_t> f = FirstColumns(pos);
  std::vector<double*> row(pos.size());
  for (std::size_t i = 0; i < pos.size(); ++i)
    row[i] = a + pos[i] - 1;
  std::vector<double> g(pos.size());
  double maxD = 0.0, minD = 1.7976931348623157e308;
  for (std::int32_t i = 1; i < n; ++i) {
    if (f[i] < i) {
      for (std::int32_t j = f[i]; j < i; ++j) {
        g[j] = row[i][j - i];
        for (std::int32_t k = std::max(f[j], f[i]); k < j; ++k)
          g[j] = g[j] - row[j][k - j] * g[k];
        row[i][j - i] = g[j] / row[j][0];
      }
      for (std::int32_t k = f[i]; k < i; ++k)
        row[i][0] = row[i][0] - row[i][k - i] * g[k];
    }
    row[i][0] = std::fabs(row[i][0]);
    if (row[i][0] > maxD) maxD = row[i][0];
    if (minD > row[i][0]) minD = row[i][0];
  }
  if (minD / maxD < 1.0e-20) {
    *flag = 1;
    return -1;
  }
  return 0;
}

void ReferenceSolve(const Profile& p, double* x) {
  std::int32_t n = static_cast<std::int32_t>(p.diagPos.size());
  auto l = [&](std::int32_t i, std::int32_t k) { return p.values[p.diagPos[i] - 1 - (i - k)]; };
  for (std::int32_t i = 1; i < n; ++i)
    for (std::int32_t k = p.first[i]; k < i; ++k)
      x[i] = x[i] - l(i, k) * x[k];
  for (std::int32_t i = 0; i < n; ++i)
    x[i] = x[i] / l(i, i);
  for (std::int32_t i = n - 1; i >= 1; --i)
    for (std::int32_t k = p.first[i]; k < i; ++k)
      x[k] = x[k] - l(i, k) * x[i];
}

// Identical bits, element by element. A NaN matches any NaN: which operand's NaN a product
// passes on is the processor's choice of operand order, and the compiler may swap the two
// factors of a product, so sign and payload of a NaN are not part of the order of operations.
bool SameBits(const std::vector<double>& a, const std::vector<double>& b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    bool bothNaN = std::isnan(a[i]) && std::isnan(b[i]);
    if (!bothNaN && std::memcmp(&a[i], &b[i], sizeof(double)) != 0) {
      ADD_FAILURE() << "element " << i << ": " << a[i] << " against " << b[i];
      return false;
    }
  }
  return true;
}

enum class Shape { band, skyline, stairs, diagonal, full };

// Random symmetric matrices in compact storage. Small integers and zeros of both signs make
// exact cancellations (and so signed zeros) frequent; negative pivots are common.
Profile RandomProfile(Shape shape, std::int32_t n, std::int32_t width, std::mt19937& rng) {
  Profile p;
  std::int32_t stairFirst = 0;
  const double pool[] = {-2.0, -1.0, -0.5, -0.0, 0.0, 0.0, 0.5, 1.0, 2.0, 3.0};
  std::uniform_real_distribution<double> real(-1.0, 1.0);
  for (std::int32_t i = 0; i < n; ++i) {
    std::int32_t f = i;
    switch (shape) {
      case Shape::band:
        f = std::max(0, i - width);
        break;
      case Shape::skyline:
        f = rng() % 5 == 0 ? i : std::max(0, i - static_cast<int>(rng() % (width + 1)));
        break;
      case Shape::stairs:
        if (rng() % 3 == 0)
          stairFirst = std::max(stairFirst, i - static_cast<int>(rng() % (width + 1)));
        f = std::min(stairFirst, i);
        break;
      case Shape::diagonal:
        break;
      case Shape::full:
        f = 0;
        break;
    }
    for (std::int32_t j = f; j <= i; ++j) {
      double v = rng() % 2 ? pool[rng() % 10] : real(rng);
      if (j == i && rng() % 4 != 0) v += (rng() % 2 ? 1.0 : -1.0) * (i - f + 2);
      p.values.push_back(v);
    }
    p.diagPos.push_back(static_cast<std::uint32_t>(p.values.size()));
  }
  p.first = FirstColumns(p.diagPos);
  return p;
}

struct Case {
  Shape shape;
  std::int32_t n, width;
  const char* special;  // "" or "zero pivot", "infinity", "nan"
};

std::vector<Case> Cases() {
  std::vector<Case> cases;
  for (std::int32_t n : {1, 2, 3, 5, 8, 9, 13})
    cases.push_back({Shape::full, n, 0, ""});
  for (Shape s : {Shape::band, Shape::skyline, Shape::stairs})
    for (std::int32_t width : {1, 3, 7, 12, 40})
      cases.push_back({s, 97, width, ""});
  cases.push_back({Shape::diagonal, 11, 0, ""});
  cases.push_back({Shape::band, 150, 60, ""});
  cases.push_back({Shape::skyline, 301, 90, ""});
  cases.push_back({Shape::full, 37, 0, "zero pivot"});
  cases.push_back({Shape::band, 60, 9, "zero pivot"});
  cases.push_back({Shape::band, 60, 9, "infinity"});
  cases.push_back({Shape::skyline, 60, 14, "nan"});
  return cases;
}

Profile MakeCase(const Case& c, std::mt19937& rng) {
  Profile p = RandomProfile(c.shape, c.n, c.width, rng);
  std::string special = c.special;
  std::int32_t row = c.n / 3;
  if (special == "zero pivot") {
    // Row 0's pivot is not made absolute and zero divides the later rows; a later zero pivot
    // too.
    p.values[p.diagPos[0] - 1] = 0.0;
    p.values[p.diagPos[row] - 1] = 0.0;
  } else if (special == "infinity") {
    p.values[p.diagPos[row] - 2] = -inf;
  } else if (special == "nan") {
    p.values[p.diagPos[row] - 1 - (row - p.first[row])] = std::nan("");
  }
  return p;
}

std::string Describe(const Case& c) {
  return testing::PrintToString(static_cast<int>(c.shape)) + " n=" + std::to_string(c.n) +
         " width=" + std::to_string(c.width) + " " + c.special;
}

std::vector<KernelPath> Paths() {
  std::vector<KernelPath> paths = {KernelPath::portable};
  if (__builtin_cpu_supports("avx2")) paths.push_back(KernelPath::avx2);
  return paths;
}

TEST(CompactKernels, FactorizationMatchesPlainLoopsBitForBit) {
  std::mt19937 rng(2024);
  for (const Case& c : Cases()) {
    SCOPED_TRACE(Describe(c));
    Profile p = MakeCase(c, rng);
    std::vector<double> expected = p.values;
    std::int32_t expectedFlag = 0;
    int expectedResult = ReferenceFactorize(c.n, p.diagPos.data(), expected.data(), &expectedFlag);

    // Through the routine (the fastest path of this processor) ...
    std::vector<double> values = p.values;
    std::int32_t flag = 0;
    EXPECT_EQ(COMPACT_FACTORIZE_2(c.n, p.diagPos.data(), values.data(), &flag), expectedResult);
    EXPECT_EQ(flag, expectedFlag);
    EXPECT_TRUE(SameBits(values, expected));

    // ... and each compiled path on its own.
    for (KernelPath path : Paths()) {
      SCOPED_TRACE(static_cast<int>(path));
      std::vector<double> blocked = p.values;
      std::vector<double*> rows(c.n);
      for (std::int32_t i = 0; i < c.n; ++i)
        rows[i] = blocked.data() + p.diagPos[i] - 1;
      std::vector<double> g(static_cast<std::size_t>(c.n) * factorizeBlockRows);
      PivotExtremes extremes{0.0, 1.7976931348623157e308, 1, 1};
      FactorizeRowBlocks(c.n, rows.data(), p.first.data(), g.data(), extremes, path);
      EXPECT_TRUE(SameBits(blocked, expected));
    }
  }
}

TEST(CompactKernels, PivotExtremesKeepTheEarlierRowOnTies) {
  // Rows 1 to 8 hold pivots 2, 1, 4, 1, 4, 2, 4, 1: the first 4 (row 3) and the first 1
  // (row 2) are the extremes, whichever block they fall in.
  std::vector<double> d = {7, 2, 1, 4, 1, 4, 2, 4, 1};
  for (KernelPath path : Paths()) {
    std::vector<double*> rows;
    std::vector<std::int32_t> first;
    for (std::size_t i = 0; i < d.size(); ++i) {
      rows.push_back(&d[i]);
      first.push_back(static_cast<std::int32_t>(i));
    }
    std::vector<double> g(d.size() * factorizeBlockRows);
    PivotExtremes extremes{0.0, 1.7976931348623157e308, 1, 1};
    FactorizeRowBlocks(9, rows.data(), first.data(), g.data(), extremes, path);
    EXPECT_EQ(extremes.maxD, 4.0);
    EXPECT_EQ(extremes.maxIdx, 3);
    EXPECT_EQ(extremes.minD, 1.0);
    EXPECT_EQ(extremes.minIdx, 2);
  }
}

TEST(CompactKernels, SeveralRightHandSidesMatchPlainSolvesBitForBit) {
  std::mt19937 rng(77);
  for (const Case& c : Cases()) {
    SCOPED_TRACE(Describe(c));
    Profile p = MakeCase(c, rng);
    std::int32_t flag = 0;
    COMPACT_FACTORIZE_2(c.n, p.diagPos.data(), p.values.data(), &flag);
    for (std::int32_t count : {1, 2, 3, 5, 16, 21}) {
      SCOPED_TRACE(count);
      std::vector<double> rhs(static_cast<std::size_t>(c.n) * count);
      const double pool[] = {-1.0, -0.0, 0.0, 0.0, 1.0, 0.25, inf};
      for (double& v : rhs)
        v = rng() % 2 ? pool[rng() % (c.special[0] ? 7 : 6)]
                      : static_cast<double>(rng() % 200) - 99.5;
      std::vector<double> expected = rhs;
      for (std::int32_t r = 0; r < count; ++r)
        ReferenceSolve(p, expected.data() + static_cast<std::size_t>(r) * c.n);
      EXPECT_EQ(COMPACT_SOLVE_2(c.n, p.diagPos.data(), p.values.data(), rhs.data(), count), 0);
      EXPECT_TRUE(SameBits(rhs, expected));
    }
  }
}

TEST(CompactKernels, UnitColumnsMatchSingleSolvesBitForBit) {
  std::mt19937 rng(5);
  for (const Case& c : Cases()) {
    SCOPED_TRACE(Describe(c));
    Profile p = MakeCase(c, rng);
    std::int32_t flag = 0;
    COMPACT_FACTORIZE_2(c.n, p.diagPos.data(), p.values.data(), &flag);
    bool finite = CompactFactorsFinite(c.n, p.diagPos.data(), p.values.data());
    std::vector<double> expected(static_cast<std::size_t>(c.n) * c.n, 0.0);
    for (std::int32_t col = 0; col < c.n; ++col) {
      expected[static_cast<std::size_t>(col) * c.n + col] = 1.0;
      COMPACT_SOLVE_2(c.n, p.diagPos.data(), p.values.data(), expected.data() + col * c.n, 1);
    }
    // All columns at once, and a window that starts inside the matrix.
    std::vector<double> columns(expected.size());
    ASSERT_EQ(
        SolveUnitColumns(c.n, p.diagPos.data(), p.values.data(), finite, 0, c.n, columns.data()),
        0);
    EXPECT_TRUE(SameBits(columns, expected));
    std::int32_t from = c.n / 2;
    std::vector<double> window(static_cast<std::size_t>(c.n) * (c.n - from));
    ASSERT_EQ(SolveUnitColumns(c.n, p.diagPos.data(), p.values.data(), finite, from, c.n - from,
                               window.data()),
              0);
    EXPECT_TRUE(
        SameBits(window, std::vector<double>(expected.begin() + from * c.n, expected.end())));
  }
}

TEST(CompactKernels, PathsAgreeOnInterleavedSolves) {
  std::mt19937 rng(31);
  if (Paths().size() < 2) GTEST_SKIP() << "no AVX2 on this processor";
  for (const Case& c : Cases()) {
    SCOPED_TRACE(Describe(c));
    Profile p = MakeCase(c, rng);
    std::int32_t flag = 0;
    COMPACT_FACTORIZE_2(c.n, p.diagPos.data(), p.values.data(), &flag);
    std::vector<const double*> rows(c.n);
    for (std::int32_t i = 0; i < c.n; ++i)
      rows[i] = p.values.data() + p.diagPos[i] - 1;
    for (std::int32_t width : {4, 8, 12, 16}) {
      std::vector<double> x(static_cast<std::size_t>(c.n) * width);
      for (double& v : x)
        v = static_cast<double>(rng() % 9) - 4.0;
      std::vector<double> y = x;
      SolveInterleaved(c.n, rows.data(), p.first.data(), x.data(), width, 0, KernelPath::portable);
      SolveInterleaved(c.n, rows.data(), p.first.data(), y.data(), width, 0, KernelPath::avx2);
      EXPECT_TRUE(SameBits(x, y)) << width;
    }
  }
}

}  // namespace
