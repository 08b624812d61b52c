#include "tools/zr-adjust/statistics/datum_cofactors.h"

#include <gtest/gtest.h>

#include <cmath>

#include "tools/zr-adjust/statistics/normal_factor.h"
#include "tools/zr-adjust/statistics/statistics_test_support.h"

namespace zradjust {
namespace {

using testing::Dense;

// Points of a small irregular network in space.
std::vector<std::vector<double>> Coordinates(std::size_t count) {
  std::vector<std::vector<double>> xyz;
  for (std::size_t p = 0; p < count; ++p)
    xyz.push_back({120.0 * (p % 3) + 9.0 * ((p * p) % 5), 110.0 * (p / 3) + 4.0 * ((p * 3) % 7),
                   20.0 + 3.0 * ((p * 5) % 4)});
  return xyz;
}

void AddSpatialDistance(LinearModel& model, const std::vector<std::vector<double>>& xyz,
                        std::size_t a, std::size_t b, double sigma) {
  double d[3], s = 0.0;
  for (int axis = 0; axis < 3; ++axis) {
    d[axis] = xyz[b][axis] - xyz[a][axis];
    s += d[axis] * d[axis];
  }
  s = std::sqrt(s);
  DesignRow row;
  for (std::size_t axis = 0; axis < 3; ++axis) {
    row.push_back({3 * a + axis, -d[axis] / s});
    row.push_back({3 * b + axis, d[axis] / s});
  }
  testing::AddRow(model, row, sigma);
}

struct FreeNetwork {
  const char* name;
  LinearModel model;
  std::vector<std::vector<double>> motions;
};

// A levelling loop with a spur, free: one motion (a common height shift).
FreeNetwork Levelling() {
  FreeNetwork network{"levelling", {}, {}};
  LinearModel& m = network.model;
  m.unknownCount = 5;
  const std::size_t from[] = {0, 1, 2, 3, 1, 3}, to[] = {1, 2, 3, 0, 3, 4};
  for (int i = 0; i < 6; ++i)
    testing::AddLevelling(m, from[i], to[i], 0.001 * (1 + i % 3));
  network.motions = {std::vector<double>(5, 1.0)};
  return network;
}

// A plan network of distances and one direction set: two shifts and a rotation.
FreeNetwork Plan() {
  FreeNetwork network{"plan", {}, {}};
  const auto xyz = Coordinates(7);
  LinearModel& m = network.model;
  m.unknownCount = 2 * 7 + 1;
  for (std::size_t a = 0; a < 7; ++a)
    for (std::size_t b = a + 1; b < 7; ++b)
      if (std::hypot(xyz[b][0] - xyz[a][0], xyz[b][1] - xyz[a][1]) < 260.0)
        testing::AddPlanDistance(m, xyz, a, b, 0.002 + 0.001 * (a % 2));
  for (std::size_t b : {1, 3, 4})
    testing::AddDirection(m, xyz, 0, b, 14, 1e-5);
  std::vector<double> tx(15, 0.0), ty(15, 0.0), rotation(15, 0.0);
  for (std::size_t p = 0; p < 7; ++p) {
    tx[2 * p] = 1.0;
    ty[2 * p + 1] = 1.0;
    // A small rotation clockwise by e moves (x, y) by e·(y, −x) and turns every bearing by e.
    rotation[2 * p] = xyz[p][1];
    rotation[2 * p + 1] = -xyz[p][0];
  }
  rotation[14] = 1.0;
  network.motions = {tx, ty, rotation};
  return network;
}

// A 3D network of slope distances: three shifts and three rotations.
FreeNetwork Spatial() {
  FreeNetwork network{"3D", {}, {}};
  const auto xyz = Coordinates(6);
  LinearModel& m = network.model;
  m.unknownCount = 18;
  for (std::size_t a = 0; a < 6; ++a)
    for (std::size_t b = a + 1; b < 6; ++b)
      AddSpatialDistance(m, xyz, a, b, 0.001 + 0.0005 * ((a + b) % 3));
  for (int axis = 0; axis < 3; ++axis) {
    std::vector<double> shift(18, 0.0), turn(18, 0.0);
    const int u = (axis + 1) % 3, v = (axis + 2) % 3;
    for (std::size_t p = 0; p < 6; ++p) {
      shift[3 * p + axis] = 1.0;
      turn[3 * p + u] = -xyz[p][v];
      turn[3 * p + v] = xyz[p][u];
    }
    network.motions.push_back(shift);
    network.motions.push_back(turn);
  }
  return network;
}

// N⁺ by (N + λBBᵀ)⁻¹ − BBᵀ/λ with B an orthonormal basis of the motions (Gram-Schmidt here)
// and λ of the size of N's diagonal, so that the subtraction cancels no digits.
Dense PseudoInverse(const Dense& n, std::vector<std::vector<double>> basis) {
  const std::size_t u = n.size();
  for (std::size_t k = 0; k < basis.size(); ++k) {
    for (std::size_t l = 0; l < k; ++l) {
      double dot = 0.0;
      for (std::size_t i = 0; i < u; ++i)
        dot += basis[k][i] * basis[l][i];
      for (std::size_t i = 0; i < u; ++i)
        basis[k][i] -= dot * basis[l][i];
    }
    double norm = 0.0;
    for (double value : basis[k])
      norm += value * value;
    for (double& value : basis[k])
      value /= std::sqrt(norm);
  }
  double lambda = 0.0;
  for (std::size_t i = 0; i < u; ++i)
    lambda += n[i][i] / static_cast<double>(u);
  Dense augmented = n;
  for (const auto& b : basis)
    for (std::size_t i = 0; i < u; ++i)
      for (std::size_t j = 0; j < u; ++j)
        augmented[i][j] += lambda * b[i] * b[j];
  Dense result = testing::DenseInverse(augmented);
  for (const auto& b : basis)
    for (std::size_t i = 0; i < u; ++i)
      for (std::size_t j = 0; j < u; ++j)
        result[i][j] -= b[i] * b[j] / lambda;
  return result;
}

std::vector<std::vector<std::size_t>> EveryPair(std::size_t u) {
  std::vector<std::size_t> all(u);
  for (std::size_t i = 0; i < u; ++i)
    all[i] = i;
  return {all};
}

TEST(DatumCofactors, FixedNetworkEqualsTheDenseInverse) {
  // The plan network held by the direction set's station and one bearing: every entry asked
  // for (the whole matrix, made part of N's pattern) against a dense inverse.
  FreeNetwork network = Plan();
  DatumBasis basis;
  basis.held = {0, 1, 2};
  const std::size_t u = network.model.unknownCount;
  DatumCofactors cofactors(network.model, basis, EveryPair(u));
  const std::vector<std::size_t> kept = testing::UnknownsFrom(3, u);
  const Dense reference =
      testing::DenseInverse(testing::DenseSubmatrix(testing::DenseNormal(network.model), kept));
  for (std::size_t i = 0; i < kept.size(); ++i)
    for (std::size_t j = 0; j < kept.size(); ++j) {
      const double scale = std::sqrt(reference[i][i] * reference[j][j]);
      EXPECT_NEAR(cofactors.InDatum(kept[i], kept[j]), reference[i][j], 1e-9 * scale);
    }
  EXPECT_EQ(cofactors.InDatum(0, 5), 0.0);
}

TEST(DatumCofactors, FreeNetworksEqualThePseudoInverse) {
  // Every unknown a datum unknown: the minimum-trace datum's cofactors are N⁺. The held
  // unknowns are those the factorisation itself finds weak, as the datum analysis may pick.
  for (FreeNetwork network : {Levelling(), Plan(), Spatial()}) {
    const std::size_t u = network.model.unknownCount;
    DatumBasis basis;
    basis.motions = network.motions;
    basis.datumUnknowns.assign(u, true);
    basis.held = WeakUnknowns(network.model, {}, weakPivotTolerance);
    ASSERT_EQ(basis.held.size(), network.motions.size()) << network.name;
    DatumCofactors cofactors(network.model, basis, EveryPair(u));
    const Dense reference = PseudoInverse(testing::DenseNormal(network.model), network.motions);
    double largest = 0.0;
    for (std::size_t i = 0; i < u; ++i)
      largest = std::max(largest, reference[i][i]);
    for (std::size_t i = 0; i < u; ++i)
      for (std::size_t j = 0; j < u; ++j)
        EXPECT_NEAR(cofactors.InDatum(i, j), reference[i][j], 1e-8 * largest)
            << network.name << " " << i << " " << j;
  }
}

TEST(DatumCofactors, DatumPointsSubsetEqualsTheDenseSTransformation) {
  // Datum points 1, 2 and 4 of the plan network: Q_S = S·Q·Sᵀ with S = I − G(CᵀG)⁻¹Cᵀ, done
  // densely here from the dense inverse of the minimal datum.
  FreeNetwork network = Plan();
  const std::size_t u = network.model.unknownCount, d = network.motions.size();
  DatumBasis basis;
  basis.motions = network.motions;
  basis.datumUnknowns.assign(u, false);
  for (std::size_t p : {1, 2, 4})
    basis.datumUnknowns[2 * p] = basis.datumUnknowns[2 * p + 1] = true;
  basis.held = {0, 1, 2};
  DatumCofactors cofactors(network.model, basis, EveryPair(u));

  const std::vector<std::size_t> kept = testing::UnknownsFrom(3, u);
  const Dense inner =
      testing::DenseInverse(testing::DenseSubmatrix(testing::DenseNormal(network.model), kept));
  Dense q(u, std::vector<double>(u, 0.0));
  for (std::size_t i = 0; i < kept.size(); ++i)
    for (std::size_t j = 0; j < kept.size(); ++j)
      q[kept[i]][kept[j]] = inner[i][j];
  Dense g(u, std::vector<double>(d)), c(u, std::vector<double>(d));
  for (std::size_t i = 0; i < u; ++i)
    for (std::size_t k = 0; k < d; ++k) {
      g[i][k] = network.motions[k][i];
      c[i][k] = basis.datumUnknowns[i] ? g[i][k] : 0.0;
    }
  Dense ctg(d, std::vector<double>(d, 0.0));
  for (std::size_t k = 0; k < d; ++k)
    for (std::size_t l = 0; l < d; ++l)
      for (std::size_t i = 0; i < u; ++i)
        ctg[k][l] += c[i][k] * g[i][l];
  const Dense ctgInverse = testing::DenseInverse(ctg);
  Dense s(u, std::vector<double>(u, 0.0));
  for (std::size_t i = 0; i < u; ++i)
    for (std::size_t j = 0; j < u; ++j) {
      double gh = 0.0;
      for (std::size_t k = 0; k < d; ++k)
        for (std::size_t l = 0; l < d; ++l)
          gh += g[i][k] * ctgInverse[k][l] * c[j][l];
      s[i][j] = (i == j ? 1.0 : 0.0) - gh;
    }
  Dense sq(u, std::vector<double>(u, 0.0));
  for (std::size_t i = 0; i < u; ++i)
    for (std::size_t j = 0; j < u; ++j)
      for (std::size_t k = 0; k < u; ++k)
        sq[i][j] += s[i][k] * q[k][j];
  double largest = 0.0;
  Dense reference(u, std::vector<double>(u, 0.0));
  for (std::size_t i = 0; i < u; ++i)
    for (std::size_t j = 0; j < u; ++j) {
      for (std::size_t k = 0; k < u; ++k)
        reference[i][j] += sq[i][k] * s[j][k];
      largest = std::max(largest, std::fabs(reference[i][j]));
    }
  for (std::size_t i = 0; i < u; ++i)
    for (std::size_t j = 0; j < u; ++j)
      EXPECT_NEAR(cofactors.InDatum(i, j), reference[i][j], 1e-8 * largest) << i << " " << j;
  // The datum points' coordinates carry the smallest possible trace: their cofactors sum
  // over any motion to zero (CᵀQ_S = 0).
  for (std::size_t k = 0; k < d; ++k)
    for (std::size_t j = 0; j < u; ++j) {
      double sum = 0.0;
      for (std::size_t i = 0; i < u; ++i)
        sum += c[i][k] * cofactors.InDatum(i, j);
      EXPECT_NEAR(sum, 0.0, 1e-8 * largest * 300.0);
    }
}

TEST(DatumCofactors, UndeterminedUnknownsHaveNoCofactors) {
  // A levelling pair and a height nothing observes: the latter is not determined, named or
  // not, and takes no part in the others' cofactors.
  LinearModel model;
  model.unknownCount = 3;
  testing::AddLevelling(model, 0, 1, 0.002);
  testing::AddRow(model, {{0, 1.0}}, 0.001);
  DatumBasis named;
  named.undetermined = {2};
  for (const DatumBasis& basis : {named, DatumBasis{}}) {
    DatumCofactors cofactors(model, basis, {});
    EXPECT_FALSE(cofactors.Determined(2));
    EXPECT_TRUE(cofactors.Determined(1));
    EXPECT_NEAR(cofactors.InDatum(1, 1), 1e-6 + 4e-6, 1e-18);
    EXPECT_EQ(cofactors.InDatum(2, 2), 0.0);
  }
  // One observed coordinate beside an unobserved one: a factor without a single entry of L.
  LinearModel lone;
  lone.unknownCount = 2;
  testing::AddRow(lone, {{1, 1.0}}, 0.003);
  DatumCofactors loneCofactors(lone, DatumBasis{}, {{0, 1}});
  EXPECT_FALSE(loneCofactors.Determined(0));
  EXPECT_NEAR(loneCofactors.InDatum(1, 1), 9e-6, 1e-20);
  EXPECT_EQ(loneCofactors.InDatum(0, 1), 0.0);
}

TEST(DatumCofactors, PublishedFreeLevellingNetwork) {
  // A free levelling network of six heights and nine lines, worked by hand in a published
  // exercise: A. Maus, Ausgleichungsrechnung, Aufgabe 29 (9 January 1998),
  // https://ypbind.de/maus/belege/statist/1997/stat9.html — every height is changed, the sum
  // of the corrections is zero (the minimum-trace datum over all points), weights as in the
  // printed normal equations. The corrections x = Q_S·AᵀP·dl with Q_S from the selected
  // inverse must reproduce the printed ones. The print solved the bordered system by hand and
  // carries its rounding: its Lagrange multiplier, zero in exact arithmetic, is printed as
  // 1.97e-10, and dHa and dHc differ from the exact solution in the fifth digit (dHb, dHd
  // and dHe agree to all five). Four digits are compared, and the exact solution is checked
  // against the normal equations themselves.
  struct Line {
    std::size_t from, to;
    double observed, weight;
  };
  const double approximate[6] = {111.6930, 115.5700, 112.1314, 101.6225, 119.0058, 118.0108};
  const Line lines[9] = {{0, 2, 0.4370, 1.316},  {0, 4, 7.3144, 1.075},  {2, 4, 6.8746, 1.724},
                         {3, 2, 10.5098, 2.273}, {3, 4, 17.3830, 1.471}, {5, 4, 0.9942, 1.961},
                         {3, 5, 16.3866, 1.266}, {3, 1, 13.9479, 0.848}, {1, 5, 2.4415, 0.735}};
  LinearModel model;
  model.unknownCount = 6;
  std::vector<double> rightHandSide(6, 0.0);
  for (const Line& line : lines) {
    testing::AddLevelling(model, line.from, line.to, std::sqrt(1.0 / line.weight));
    const double misclosure = line.observed - (approximate[line.to] - approximate[line.from]);
    rightHandSide[line.to] += line.weight * misclosure;
    rightHandSide[line.from] -= line.weight * misclosure;
  }
  DatumBasis basis;
  basis.motions = {std::vector<double>(6, 1.0)};
  basis.datumUnknowns.assign(6, true);
  basis.held = {3};
  DatumCofactors cofactors(model, basis, EveryPair(6));
  // dHa .. dHe as printed (m); dHf is cut off in the print, the zero sum gives it.
  const double printed[5] = {6.5955e-5, -1.0513e-4, 8.0725e-6, 2.5531e-5, 2.2950e-5};
  double sum = 0.0;
  std::vector<double> corrections(6, 0.0);
  for (std::size_t i = 0; i < 6; ++i) {
    for (std::size_t j = 0; j < 6; ++j)
      corrections[i] += cofactors.InDatum(i, j) * rightHandSide[j];
    sum += corrections[i];
    if (i < 5) {
      // Half a unit of the fourth printed digit.
      const double halfUnit =
          0.5 * std::pow(10.0, std::floor(std::log10(std::fabs(printed[i]))) - 3);
      EXPECT_NEAR(corrections[i], printed[i], halfUnit) << i;
    }
  }
  EXPECT_NEAR(sum, 0.0, 1e-15);
  const Dense normal = testing::DenseNormal(model);
  for (std::size_t i = 0; i < 6; ++i) {
    double product = 0.0;
    for (std::size_t j = 0; j < 6; ++j)
      product += normal[i][j] * corrections[j];
    EXPECT_NEAR(product, rightHandSide[i], 1e-12) << i;
  }
}

}  // namespace
}  // namespace zradjust
