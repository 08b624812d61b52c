#include "tools/zr-adjust/statistics/ldl_factor.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

#include "tools/zr-adjust/statistics/normal_equations.h"
#include "tools/zr-adjust/statistics/selected_inverse.h"
#include "tools/zr-adjust/statistics/statistics_test_support.h"
#include "tools/zr-adjust/statistics/supernodal_factor.h"

namespace zradjust {
namespace {

using testing::AddLevelling;
using testing::AddPlanDistance;

constexpr double tolerance = 1e-10;

// A 3D network on a jittered grid of side × side points (east, north, height per point):
// distances and height differences to the grid neighbours, both diagonals of every cell and a
// few long lines at random, so that the factor fills and has supernodes worth the name.
LinearModel GridNetwork(std::size_t side) {
  std::mt19937_64 random(11);
  std::uniform_real_distribution<double> jitter(-20.0, 20.0);
  std::vector<std::vector<double>> xy;
  for (std::size_t p = 0; p < side * side; ++p)
    xy.push_back({100.0 * (p % side) + jitter(random), 100.0 * (p / side) + jitter(random)});
  LinearModel model;
  model.unknownCount = 3 * xy.size();
  auto observe = [&](std::size_t a, std::size_t b) {
    AddPlanDistance(model, xy, a, b, 0.002, 3);
    AddLevelling(model, 3 * a + 2, 3 * b + 2, 0.001);
  };
  for (std::size_t row = 0; row < side; ++row)
    for (std::size_t column = 0; column < side; ++column) {
      const std::size_t p = row * side + column;
      if (column + 1 < side) observe(p, p + 1);
      if (row + 1 < side) observe(p, p + side);
      if (column + 1 < side && row + 1 < side) {
        observe(p, p + side + 1);
        observe(p + 1, p + side);
      }
    }
  std::uniform_int_distribution<std::size_t> point(0, xy.size() - 1);
  for (int line = 0; line < 20; ++line) {
    const std::size_t a = point(random), b = point(random);
    if (a != b) observe(a, b);
  }
  return model;
}

SymmetricSparse NormalMatrix(const LinearModel& model, const std::vector<std::size_t>& held) {
  std::vector<bool> leftOut(model.unknownCount, false);
  for (std::size_t unknown : held)
    leftOut[unknown] = true;
  return FormNormalEquations(model, leftOut, {}).matrix;
}

TEST(FactoriseDroppingWeakPivots, WeakPivotsAreDecidedByTheRowByRowElimination) {
  // Whenever a pivot is weak, the result must be the row-by-row elimination's to the last bit:
  // the same unknowns dropped, the same factor of the rest.
  LinearModel levelling;  // a loop of four heights, a separate pair and an unobserved height
  levelling.unknownCount = 7;
  AddLevelling(levelling, 0, 1, 0.001);
  AddLevelling(levelling, 1, 2, 0.001);
  AddLevelling(levelling, 2, 3, 0.001);
  AddLevelling(levelling, 3, 0, 0.001);
  AddLevelling(levelling, 4, 5, 0.001);
  // Positive definite, but the pair 2–3 is tied to the rest by observations a million times
  // less precise than the one between them: the pair's common shift is weak, by 1e-12
  // relative to its diagonal, although every pivot stays positive.
  LinearModel weaklyTied;
  weaklyTied.unknownCount = 4;
  AddLevelling(weaklyTied, 0, 1, 0.001);
  AddLevelling(weaklyTied, 2, 3, 0.001);
  AddLevelling(weaklyTied, 1, 2, 1000.0);
  AddLevelling(weaklyTied, 3, 0, 1000.0);
  const LinearModel grid = GridNetwork(6);
  struct Case {
    const char* name;
    SymmetricSparse n;
    std::size_t droppedCount;
  };
  const Case cases[] = {
      {"free levelling: singular", NormalMatrix(levelling, {}), 3},
      {"weakly tied pair: positive definite", NormalMatrix(weaklyTied, {0}), 1},
      {"free 3D grid: shifts and rotation", NormalMatrix(grid, {}), 4},
      {"3D grid, north of one point held", NormalMatrix(grid, {1}), 3},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const SupernodalFactor rowByRow = FromRowByRow(FactoriseRowByRow(c.n, tolerance));
    const SupernodalFactor factor = FactoriseDroppingWeakPivots(c.n, tolerance);
    std::size_t droppedCount = 0;
    for (bool dropped : factor.dropped)
      droppedCount += dropped ? 1 : 0;
    EXPECT_EQ(droppedCount, c.droppedCount);
    EXPECT_EQ(factor.dropped, rowByRow.dropped);
    EXPECT_EQ(factor.order, rowByRow.order);
    EXPECT_EQ(factor.firstColumn, rowByRow.firstColumn);
    EXPECT_EQ(factor.rowIndex, rowByRow.rowIndex);
    ASSERT_EQ(factor.valueStart, rowByRow.valueStart);
    EXPECT_TRUE(std::equal(factor.value.get(), factor.value.get() + factor.valueStart.back(),
                           rowByRow.value.get()));
  }
}

TEST(SelectedInverse, BothFactorisationsGiveTheDenseInverseOnThePattern) {
  // The four corner points held, so that nothing is weak and N is well conditioned: the
  // blocked factorisation is taken. Its selected inverse, and that of the row-by-row
  // elimination's supernodes, must equal the dense inverse on N's pattern to a few rounding
  // errors. The grid is large enough for subtrees to be worked on as separate tasks, with
  // supernodes of one to several points and parents of every width. (With a minimal datum,
  // far from most points, N is ill conditioned and the roundings differ by its condition
  // number times the precision.)
  const std::size_t side = 10, last = side * side - 1;
  std::vector<std::size_t> held;
  for (std::size_t corner : {std::size_t{0}, side - 1, last - (side - 1), last})
    for (std::size_t axis = 0; axis < 3; ++axis)
      held.push_back(3 * corner + axis);
  const LinearModel model = GridNetwork(side);
  const SymmetricSparse n = NormalMatrix(model, held);
  ASSERT_EQ(n.size, 288u);
  std::vector<std::size_t> kept;
  for (std::size_t u = 0; u < model.unknownCount; ++u)
    if (std::find(held.begin(), held.end(), u) == held.end()) kept.push_back(u);
  const testing::Dense expected =
      testing::DenseInverse(testing::DenseSubmatrix(testing::DenseNormal(model), kept));
  SupernodalFactor blocked = FactoriseDroppingWeakPivots(n, tolerance);
  SupernodalFactor rowByRow = FromRowByRow(FactoriseRowByRow(n, tolerance));
  // Not the same supernodes: otherwise the blocked path was not taken and nothing is compared.
  ASSERT_NE(blocked.firstColumn, rowByRow.firstColumn);
  ASSERT_EQ(blocked.order, rowByRow.order);
  struct Case {
    const char* name;
    SupernodalFactor factor;
  };
  Case cases[] = {{"blocked", std::move(blocked)}, {"row by row", std::move(rowByRow)}};
  for (Case& c : cases) {
    SCOPED_TRACE(c.name);
    const SelectedInverse inverse(std::move(c.factor));
    for (std::size_t a = 0; a < n.size; ++a)
      for (std::size_t p = n.columnStart[a]; p < n.columnStart[a + 1]; ++p) {
        const std::size_t b = n.rowIndex[p];
        const double scale = std::sqrt(expected[a][a] * expected[b][b]);
        EXPECT_NEAR(inverse.Entry(a, b), expected[a][b], 1e-12 * scale) << a << " " << b;
      }
  }
}

}  // namespace
}  // namespace zradjust
