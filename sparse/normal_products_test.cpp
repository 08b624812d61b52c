#include "sparse/normal_products.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <map>
#include <random>
#include <vector>

#include "sparse/sparse_matrix_writers.h"

namespace {

// Same bits; any NaN matches any NaN (which operand's payload a NaN result carries is the
// processor's choice, not the order of the sum).
bool SameBits(double left, double right) {
  return std::bit_cast<std::uint64_t>(left) == std::bit_cast<std::uint64_t>(right) ||
         (std::isnan(left) && std::isnan(right));
}

// The operations as plain loops over ordered maps, entry by entry in the defined order: what
// the row-at-a-time implementations must reproduce bit for bit.
using ReferenceRows = std::vector<std::map<std::uint32_t, double>>;

void Accumulate(std::map<std::uint32_t, double>& row, std::uint32_t column, double v, bool minus) {
  const auto [place, inserted] = row.try_emplace(column, minus ? -v : v);
  if (!inserted) place->second = minus ? place->second - v : v + place->second;
}

ReferenceRows ReferenceProduct(const SparseMatrix& A, const SparseMatrix& B, bool transposed) {
  ReferenceRows K(transposed ? A.columnCount : A.RowCount());
  for (std::uint32_t i = 0; i < A.RowCount(); ++i) {
    for (const auto& [j, a] : A.rows[i]) {
      for (const auto& [k, b] : B.rows[transposed ? i : j])
        Accumulate(K[transposed ? j : i], k, b * a, false);
    }
  }
  return K;
}

ReferenceRows ReferenceInPlace(const SparseMatrix& D, const SparseMatrix& S, bool minus) {
  ReferenceRows rows(D.RowCount());
  for (std::uint32_t i = 0; i < D.RowCount(); ++i) {
    for (const auto& [k, d] : D.rows[i])
      rows[i][k] = d;
    for (const auto& [k, s] : S.rows[i])
      Accumulate(rows[i], k, s, minus);
  }
  return rows;
}

void ExpectSameEntries(const SparseMatrix& actual, const ReferenceRows& expected) {
  ASSERT_EQ(actual.RowCount(), expected.size());
  for (std::uint32_t i = 0; i < expected.size(); ++i) {
    ASSERT_EQ(actual.rows[i].EntryCount(), expected[i].size()) << "row " << i;
    auto want = expected[i].begin();
    for (const auto& [column, value] : actual.rows[i]) {
      ASSERT_EQ(column, want->first) << "row " << i;
      ASSERT_TRUE(SameBits(value, want->second)) << i << "," << column;
      ++want;
    }
  }
}

// Sparse with awkward values, written in scattered column order: stored zeros of both signs,
// NaN, infinities, small integers whose sums cancel exactly. A column may lie far beyond
// columnCount, which nothing checks.
SparseMatrix AwkwardMatrix(std::mt19937& random, std::uint32_t rows, std::uint32_t columns,
                           double density, std::uint32_t farColumn = 0) {
  SparseMatrix matrix(rows, columns);
  std::bernoulli_distribution present(density);
  const double values[] = {1.0, -1.0, 0.5, -2.0, 3.0, 0.0, -0.0, 1e-300, -1e300, 0.1, -0.7};
  for (std::uint32_t i = 0; i < rows; ++i) {
    for (std::uint32_t step = 0; step < columns; ++step) {
      if (!present(random)) continue;
      const unsigned pick = random() % 100;
      const double v = pick == 0   ? std::numeric_limits<double>::quiet_NaN()
                       : pick == 1 ? std::numeric_limits<double>::infinity()
                                   : values[pick % 11];
      SparseRowWriter(matrix.rows[i]).Store((step * 7 + i) % columns, v);
    }
  }
  if (farColumn != 0 && rows != 0) SparseRowWriter(matrix.rows[rows - 1]).Store(farColumn, 2.0);
  return matrix;
}

TEST(NormalProducts, MatchPlainLoopsBitForBit) {
  std::mt19937 random(29);
  struct Case {
    std::uint32_t m, n;
    double density;
    std::uint32_t farColumn;  // nonzero: the right factor's columns spread far beyond its entries
  };
  for (const Case& c : {Case{1, 1, 1.0, 0}, Case{5, 3, 0.6, 0}, Case{30, 40, 0.15, 0},
                        Case{40, 25, 0.9, 0}, Case{8, 6, 0.5, 3000000}, Case{0, 4, 0.5, 0}}) {
    for (int trial = 0; trial < 5; ++trial) {
      const SparseMatrix A = AwkwardMatrix(random, c.m, c.n, c.density);
      const SparseMatrix B = AwkwardMatrix(random, c.m, c.m + 2, c.density, c.farColumn);
      // Whatever the result held goes; its row count is checked against the reference's.
      SparseMatrix K = AwkwardMatrix(random, 3, 3, 0.5);
      MultiplyTransposed(A, B, K);
      EXPECT_EQ(K.columnCount, B.columnCount);
      ExpectSameEntries(K, ReferenceProduct(A, B, true));
      MultiplyTransposed(A, A, K);
      ExpectSameEntries(K, ReferenceProduct(A, A, true));

      const SparseMatrix C = AwkwardMatrix(random, c.n, c.m + 2, c.density, c.farColumn);
      Multiply(A, C, K);
      EXPECT_EQ(K.columnCount, C.columnCount);
      ExpectSameEntries(K, ReferenceProduct(A, C, false));

      DenseVector x(c.n);
      for (std::uint32_t j = 0; j < c.n; ++j)
        x[j] = j % 3 == 0 ? -0.0 : 0.25 * j - 1.0;
      const DenseVector y = MultiplyVector(A, x);
      ASSERT_EQ(y.size(), c.m);
      for (std::uint32_t i = 0; i < c.m; ++i) {
        double sum = 0.0;
        for (const auto& [j, a] : A.rows[i])
          sum = sum + x[j] * a;
        EXPECT_TRUE(SameBits(y[i], sum)) << i;
      }

      // The source has an extra row (ignored), columns the target lacks, and may be the target.
      const SparseMatrix S = AwkwardMatrix(random, c.m + 1, c.m + 2, c.density);
      for (const bool minus : {false, true}) {
        for (const bool self : {false, true}) {
          SparseMatrix D = K;
          const SparseMatrix& source = self ? D : S;
          const ReferenceRows expected = ReferenceInPlace(D, source, minus);
          if (minus) {
            SubtractInPlace(D, source);
          } else {
            AddInPlace(D, source);
          }
          ExpectSameEntries(D, expected);
        }
      }
    }
  }
}

SparseMatrix FromDense(const std::vector<std::vector<double>>& dense) {
  SparseMatrix matrix(dense.size(), dense.empty() ? 0 : dense[0].size());
  for (std::uint32_t i = 0; i < dense.size(); ++i) {
    for (std::uint32_t j = 0; j < dense[i].size(); ++j)
      SetElement(matrix, i, j, dense[i][j]);
  }
  return matrix;
}

TEST(NormalProducts, HandCheckedEdges) {
  // 1·1 + 1·(−1) cancels to a stored +0.0; a lone term underflowing to −0.0 is stored as −0.0,
  // while a vector product starts from +0.0 and so gives +0.0 for it.
  SparseMatrix K;
  MultiplyTransposed(FromDense({{1}, {-1}}), FromDense({{1}, {1}}), K);
  ASSERT_EQ(K.EntryCount(), 1u);
  EXPECT_TRUE(SameBits(GetElement(K, 0, 0), 0.0));
  MultiplyTransposed(FromDense({{1e-200}}), FromDense({{-1e-200}}), K);
  EXPECT_TRUE(SameBits(GetElement(K, 0, 0), -0.0));
  EXPECT_TRUE(SameBits(MultiplyVector(FromDense({{-1e-200}}), DenseVector(1, 0.0))[0], 0.0));

  // In-place sums insert absent columns and keep cancellations; a difference of vectors is as
  // long as its first operand.
  SparseMatrix D = FromDense({{0, 5, 0}});
  const SparseMatrix S = FromDense({{0, 5, 4}});
  SubtractInPlace(D, S);
  EXPECT_EQ(D.EntryCount(), 2u);
  EXPECT_TRUE(SameBits(GetElement(D, 0, 1), 0.0));
  EXPECT_EQ(GetElement(D, 0, 2), -4.0);
  AddInPlace(D, S);
  EXPECT_EQ(GetElement(D, 0, 1), 5.0);
  EXPECT_TRUE(SameBits(GetElement(D, 0, 2), 0.0));
  EXPECT_EQ(SubtractVector(DenseVector(2, 1.0), DenseVector(3, 0.5)).size(), 2u);
}

}  // namespace
