#include "solvers/compact_ldlt.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <utility>
#include <vector>

#include <stdexcept>

#include "solvers/compact_form.h"
#include "solvers/compact_ldlt_kernels.h"
#include "solvers/solver_test_support.h"

#if defined(__SANITIZE_ADDRESS__)
// From the sanitizer runtime (its header does not come with every compiler).
extern "C" std::size_t __sanitizer_get_current_allocated_bytes();
std::size_t AllocatedBytes() {
  return __sanitizer_get_current_allocated_bytes();
}
#else
#include <malloc.h>
std::size_t AllocatedBytes() {
  return mallinfo2().uordblks;
}
#endif

namespace {

using solver_test::SameBits;

// Compact storage with the first column of every row.
struct Profile {
  std::vector<std::uint32_t> diagPos;
  std::vector<double> values;
  std::vector<std::int32_t> first;
  std::int32_t n() const { return static_cast<std::int32_t>(diagPos.size()); }
  double& at(std::int32_t i, std::int32_t j) { return values[diagPos[i] - 1 - (i - j)]; }
};

TEST(CompactLdlt, HandCheckedCases) {
  // Quotient 1e-30 from rows 1 and 2, large enough an order for the kept scratch to show.
  Profile smallPivot{{}, std::vector<double>(1000, 1.0), {}};
  for (std::uint32_t i = 1; i <= 1000; ++i)
    smallPivot.diagPos.push_back(i);
  smallPivot.values[1] = 1e-30;
  struct Case {
    const char* name;
    Profile matrix;
    std::int32_t result;
    std::vector<double> factors;  // empty: the values stay as they are
    std::vector<double> b, x;
  };
  const std::vector<Case> cases = {
      {"[[4,2],[2,3]]", {{1, 3}, {4, 2, 3}, {}}, 0, {4, 0.5, 2}, {2, 1}, {0.5, 0}},
      // d1 = 1 − 4 = −3 is stored as 3: the solution of another system, and no failure.
      {"[[1,2],[2,1]]", {{1, 3}, {1, 2, 1}, {}}, 0, {1, 2, 3}, {1, 1}, {1 + 2 / 3.0, -1 / 3.0}},
      {"diagonal (1e-30,1,1): row 0 takes no part", {{1, 2, 3}, {1e-30, 1, 1}, {}}, 0, {}, {}, {}},
      {"diagonal (1,0,0): 0/0 is NaN and passes", {{1, 2, 3}, {1, 0, 0}, {}}, 0, {}, {}, {}},
      {"diagonal (1,1e-30,1,…)", smallPivot, -1, {}, {}, {}},
  };
  for (Case c : cases) {
    SCOPED_TRACE(c.name);
    Profile& a = c.matrix;
    const std::vector<double> input = a.values;
    std::int32_t flag = 7;
    testing::internal::CaptureStdout();
    const std::size_t before = AllocatedBytes();
    const std::int32_t result =
        COMPACT_FACTORIZE_2(a.n(), a.diagPos.data(), a.values.data(), &flag);
    const std::size_t kept = AllocatedBytes() - before;
    if (!c.b.empty()) COMPACT_SOLVE_2(a.n(), a.diagPos.data(), a.values.data(), c.b.data(), 1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(result, c.result);
    EXPECT_EQ(flag, result == 0 ? 7 : 1);
    EXPECT_GE(kept, result == 0 ? 0 : a.n() * (2 * sizeof(double) + sizeof(std::int32_t)));
    EXPECT_EQ(a.values, c.factors.empty() ? input : c.factors);
    for (std::size_t i = 0; i < c.x.size(); ++i)
      EXPECT_NEAR(c.b[i], c.x[i], 4 * solver_test::eps * std::fabs(c.x[i])) << i;
  }
}

// The plain row loops of the factorisation and the solve, kept apart from the routines: the
// blocked passes must give their bits exactly. Returns the extremes of the pivots of rows 1 on.
PivotExtremes ReferenceFactorize(Profile& p) {
  std::vector<double> g(p.n());
  PivotExtremes extremes{0.0, 1.7976931348623157e308, 0, 0};
  for (std::int32_t i = 1; i < p.n(); ++i) {
    for (std::int32_t j = p.first[i]; j < i; ++j) {
      g[j] = p.at(i, j);
      for (std::int32_t k = std::max(p.first[j], p.first[i]); k < j; ++k)
        g[j] = g[j] - p.at(j, k) * g[k];
      p.at(i, j) = g[j] / p.at(j, j);
    }
    for (std::int32_t k = p.first[i]; k < i; ++k)
      p.at(i, i) = p.at(i, i) - p.at(i, k) * g[k];
    p.at(i, i) = std::fabs(p.at(i, i));
    extremes.maxD = std::max(extremes.maxD, p.at(i, i));
    extremes.minD = std::min(extremes.minD, p.at(i, i));
  }
  return extremes;
}

void ReferenceSolve(Profile& p, double* x, std::size_t stride) {  // x(k) is x[k·stride]
  for (std::int32_t i = 1; i < p.n(); ++i)
    for (std::int32_t k = p.first[i]; k < i; ++k)
      x[i * stride] = x[i * stride] - p.at(i, k) * x[k * stride];
  for (std::int32_t i = 0; i < p.n(); ++i)
    x[i * stride] = x[i * stride] / p.at(i, i);
  for (std::int32_t i = p.n() - 1; i >= 1; --i)
    for (std::int32_t k = p.first[i]; k < i; ++k)
      x[k * stride] = x[k * stride] - p.at(i, k) * x[i * stride];
}

enum class Shape { band, skyline, stairs };
struct Case {
  Shape shape;
  std::int32_t n, width;
  bool zeroPivots;  // row 0's pivot (not made absolute, it divides later rows) and a later one
};

// Random symmetric matrices in compact storage. Small integers and zeros of both signs make
// exact cancellations (and so signed zeros) frequent; negative pivots are common.
Profile RandomProfile(const Case& c, std::mt19937& rng) {
  Profile p;
  const double pool[] = {-2.0, -1.0, -0.5, -0.0, 0.0, 0.0, 0.5, 1.0, 2.0, 3.0};
  std::uniform_real_distribution<double> real(-1.0, 1.0);
  for (std::int32_t i = 0, stairFirst = 0; i < c.n; ++i) {
    const std::int32_t reach = std::min<std::int32_t>(i, rng() % (c.width + 1));
    std::int32_t f = c.shape == Shape::band ? std::max(0, i - c.width) : i - reach;
    if (c.shape == Shape::skyline && rng() % 5 == 0) f = i;
    if (c.shape == Shape::stairs) {
      if (rng() % 3 == 0) stairFirst = std::max(stairFirst, i - reach);
      f = std::min(stairFirst, i);
    }
    p.first.push_back(f);
    for (std::int32_t j = f; j <= i; ++j) {
      double v = rng() % 2 ? pool[rng() % 10] : real(rng);
      if (j == i && rng() % 4 != 0) v += (rng() % 2 ? 1.0 : -1.0) * (i - f + 2);
      p.values.push_back(v);
    }
    p.diagPos.push_back(static_cast<std::uint32_t>(p.values.size()));
  }
  if (c.zeroPivots) p.at(0, 0) = p.at(c.n / 3, c.n / 3) = 0.0;
  return p;
}

std::vector<Case> Cases() {
  std::vector<Case> cases = {{Shape::skyline, 60, 14, true}};
  for (std::int32_t n : {1, 2, 3, 5, 8, 9, 13, 37})
    cases.push_back({Shape::band, n, n, n == 37});
  for (Shape s : {Shape::band, Shape::skyline, Shape::stairs})
    for (std::int32_t width : {0, 1, 3, 7, 12, 40, 90})
      cases.push_back({s, width < 40 ? 97 : 2 * width + 30, width, false});
  return cases;
}

TEST(CompactLdlt, BlockedPassesMatchPlainLoopsBitForBit) {
  std::mt19937 rng(2024);
  std::vector<KernelPath> paths = {KernelPath::portable};
  if (__builtin_cpu_supports("avx2")) paths.push_back(KernelPath::avx2);
  const double pool[] = {-1.0, -0.0, 0.0, 0.0, 1.0, 0.25, std::numeric_limits<double>::infinity()};
  for (const Case& c : Cases()) {
    SCOPED_TRACE(testing::Message() << static_cast<int>(c.shape) << " " << c.n << " " << c.width);
    const Profile input = RandomProfile(c, rng);
    Profile p = input;
    const PivotExtremes expected = ReferenceFactorize(p);
    const std::size_t n = c.n;
    std::vector<double*> rows(n);

    // The factorisation through the routine (the fastest path here) and each path alone.
    std::vector<double> values = input.values;
    std::int32_t flag = 0;
    const bool small = expected.minD / expected.maxD < 1.0e-20;
    EXPECT_EQ(COMPACT_FACTORIZE_2(c.n, p.diagPos.data(), values.data(), &flag), small ? -1 : 0);
    EXPECT_EQ(flag, small ? 1 : 0);
    EXPECT_TRUE(SameBits(values, p.values));
    for (KernelPath path : paths) {
      values = input.values;
      for (std::size_t i = 0; i < n; ++i)
        rows[i] = values.data() + p.diagPos[i] - 1;
      std::vector<double> g(n * factorizeBlockRows);
      PivotExtremes extremes{0.0, 1.7976931348623157e308, 1, 1};
      FactorizeRowBlocks(c.n, rows.data(), p.first.data(), g.data(), extremes, path);
      EXPECT_TRUE(SameBits(values, p.values)) << static_cast<int>(path);
      EXPECT_TRUE(extremes.maxD == expected.maxD && extremes.minD == expected.minD);
    }

    const auto random = [&](std::size_t count) {
      std::vector<double> x(count);
      for (double& v : x)
        v = rng() % 2 ? pool[rng() % (c.zeroPivots ? 7 : 6)] : rng() % 200 - 99.5;
      return x;
    };
    // Right-hand sides one after another, solved side by side in blocks (so 3 together equal
    // 3 alone, each being the plain solve).
    for (std::int32_t count : {1, 3, 5, 16, 21}) {
      std::vector<double> x = random(n * count), expected = x;
      for (std::int32_t r = 0; r < count; ++r)
        ReferenceSolve(p, expected.data() + r * n, 1);
      EXPECT_EQ(COMPACT_SOLVE_2(c.n, p.diagPos.data(), p.values.data(), x.data(), count), 0);
      EXPECT_TRUE(SameBits(x, expected)) << count;
    }

    // Interleaved on each path. With finite factors half the widths skip the leading +0.0 rows;
    // those hold no −0.0 at all, as unit vectors (a sum from −0.0 would not survive a +0.0 term).
    const bool finite = CompactFactorsFinite(c.n, p.diagPos.data(), p.values.data());
    for (std::size_t i = 0; i < n; ++i)
      rows[i] = p.values.data() + p.diagPos[i] - 1;
    for (KernelPath path : paths) {
      for (std::int32_t width : {4, 8, 12, 16}) {
        const std::int32_t skip = finite && width % 8 == 0 ? c.n / 3 : 0;
        std::vector<double> x = random(n * width);
        for (std::size_t k = 0; skip > 0 && k < x.size(); ++k)
          if (k < std::size_t(skip * width) || x[k] == 0.0) x[k] = 0.0;
        std::vector<double> expected = x;
        for (std::int32_t t = 0; t < width; ++t)
          ReferenceSolve(p, expected.data() + t, width);
        SolveInterleaved(c.n, rows.data(), p.first.data(), x.data(), width, skip, path);
        EXPECT_TRUE(SameBits(x, expected)) << static_cast<int>(path) << " width " << width;
      }
    }

    // Unit columns, all of them or a window starting inside the matrix.
    std::vector<double> inverse(n * n, 0.0);
    for (std::size_t col = 0; col < n; ++col) {
      inverse[col * n + col] = 1.0;
      ReferenceSolve(p, inverse.data() + col * n, 1);
    }
    const std::int32_t from = c.n % 2 == 0 ? c.n / 2 : 0;
    std::vector<double> columns(n * (c.n - from));
    ASSERT_EQ(SolveUnitColumns(c.n, p.diagPos.data(), p.values.data(), finite, from, c.n - from,
                               columns.data()),
              0);
    EXPECT_TRUE(SameBits(columns, std::vector<double>(inverse.begin() + from * n, inverse.end())));
  }
}

// Each path on its own through the one dispatch, on the random profiles with NaN and
// infinities of both signs salted into the matrix: the factors, the extremes and the
// interleaved solves must be the plain loops' bits.
void ExpectPathMatchesPlainLoops(KernelPath path) {
  std::mt19937 rng(77);
  const double salt[] = {std::numeric_limits<double>::quiet_NaN(),
                         std::numeric_limits<double>::infinity(),
                         -std::numeric_limits<double>::infinity(), -0.0};
  std::vector<Case> cases = Cases();
  for (std::int32_t n : {17, 33, 200})  // several blocks of every width, ragged
    cases.push_back({Shape::stairs, n, 45, false});
  for (std::size_t index = 0; index < cases.size(); ++index) {
    const Case& c = cases[index];
    SCOPED_TRACE(testing::Message() << static_cast<int>(c.shape) << " " << c.n << " " << c.width);
    Profile input = RandomProfile(c, rng);
    // Every third case carries a non-finite or signed-zero slot somewhere in its profile.
    if (index % 3 == 1 && input.values.size() > 2)
      input.values[rng() % input.values.size()] = salt[rng() % 4];
    Profile p = input;
    const PivotExtremes expected = ReferenceFactorize(p);
    const std::size_t n = c.n;
    std::vector<double*> rows(n);
    std::vector<double> values = input.values;
    for (std::size_t i = 0; i < n; ++i)
      rows[i] = values.data() + p.diagPos[i] - 1;
    std::vector<double> g(n * FactorizeBlockRowsOf(path));
    PivotExtremes extremes{0.0, 1.7976931348623157e308, 1, 1};
    FactorizeRowBlocks(c.n, rows.data(), p.first.data(), g.data(), extremes, path);
    EXPECT_TRUE(SameBits(values, p.values));
    EXPECT_TRUE(SameBits({extremes.maxD, extremes.minD}, {expected.maxD, expected.minD}));

    for (std::size_t i = 0; i < n; ++i)
      rows[i] = p.values.data() + p.diagPos[i] - 1;
    for (std::int32_t width : {1, 4, 8, 12, 16}) {
      std::vector<double> x(n * width);
      for (double& v : x)
        v = rng() % 4 == 0 ? salt[rng() % 4] : rng() % 200 - 99.5;
      std::vector<double> expectedX = x;
      for (std::int32_t t = 0; t < width; ++t)
        ReferenceSolve(p, expectedX.data() + t, width);
      SolveInterleaved(c.n, rows.data(), p.first.data(), x.data(), width, 0, path);
      EXPECT_TRUE(SameBits(x, expectedX)) << "width " << width;
    }
  }
}

TEST(CompactLdlt, PlainAndNarrowPathsMatchPlainLoopsWithNonFinite) {
  for (KernelPath path : {KernelPath::plain, KernelPath::portable, KernelPath::avx2}) {
    SCOPED_TRACE(static_cast<int>(path));
    if (KernelPathAvailable(path)) ExpectPathMatchesPlainLoops(path);
  }
}

TEST(CompactLdlt, Avx512PathMatchesPlainLoops) {
  if (!KernelPathAvailable(KernelPath::avx512))
    GTEST_SKIP() << "this processor lacks AVX-512F/DQ/VL; the 512-bit path cannot run here";
  ExpectPathMatchesPlainLoops(KernelPath::avx512);
}

// Positions are one-based unsigned 32-bit numbers: an arrow matrix of order 92,682 (every row
// reaching back to column 0) has 92,682·92,683/2 = 4,294,930,221 + 92,682 slots, past the
// 4,294,967,295 that fit (order 92,681 would just fit). Its build must throw at once, before a
// value array is taken, instead of wrapping the positions.
TEST(CompactForm, ProfilePastThirtyTwoBitPositionsThrows) {
  const std::uint32_t n = 92682;
  ASSERT_GT(std::uint64_t{n} * (n + 1) / 2, maxCompactSlots);
  ASSERT_LE(std::uint64_t{n - 1} * n / 2, maxCompactSlots);
  SparseMatrix N(n, n);
  for (std::uint32_t i = 0; i < n; ++i) {
    SetElement(N, i, 0, 0.5);
    SetElement(N, i, i, 2.0);
  }
  CompactForm form;
  try {
    BuildCompactForm(N, form);
    ADD_FAILURE() << "no exception";
  } catch (const std::length_error& error) {
    EXPECT_STREQ(error.what(), "vector<T> too long");
  }
  EXPECT_EQ(form.diagonalPositions, nullptr);
  EXPECT_EQ(form.values, nullptr);

  // The host's count of the same profile, and the limit on either side.
  std::vector<std::uint32_t> arrowFirst(n, 0);
  EXPECT_EQ(CompactSlotCount(arrowFirst), std::uint64_t{n} * (n + 1) / 2);
  EXPECT_EQ(CompactSlotCount({0, 1, 1, 0}), 1u + 1u + 2u + 4u);
  EXPECT_NO_THROW(RequireCompactSlots(maxCompactSlots));
  EXPECT_THROW(RequireCompactSlots(maxCompactSlots + 1), std::length_error);
}

}  // namespace
