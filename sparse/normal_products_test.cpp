#include "sparse/normal_products.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

namespace {

using Dense = std::vector<std::vector<double>>;

SparseMatrix FromDense(const Dense& dense, std::uint32_t columnCount) {
  SparseMatrix matrix(static_cast<std::uint32_t>(dense.size()), columnCount);
  for (std::uint32_t i = 0; i < dense.size(); ++i) {
    for (std::uint32_t j = 0; j < dense[i].size(); ++j) {
      SetElement(matrix, i, j, dense[i][j]);
    }
  }
  return matrix;
}

Dense RandomSparseDense(std::mt19937& random, int rows, int columns) {
  std::uniform_real_distribution<double> value(-2.0, 2.0);
  std::bernoulli_distribution present(0.4);
  Dense dense(rows, std::vector<double>(columns, 0.0));
  for (auto& row : dense) {
    for (double& element : row) {
      if (present(random)) element = value(random);
    }
  }
  return dense;
}

bool SameBits(double left, double right) {
  return std::bit_cast<std::uint64_t>(left) == std::bit_cast<std::uint64_t>(right);
}

// The products against triple loops that add in the same ascending order: the bits must agree.
TEST(NormalProducts, MatchDenseReferenceBitForBit) {
  std::mt19937 random(7);
  for (int trial = 0; trial < 20; ++trial) {
    const int m = 1 + trial % 6, n = 1 + (trial * 5) % 7;
    const Dense a = RandomSparseDense(random, m, n);
    const Dense p = RandomSparseDense(random, m, m);
    const SparseMatrix A = FromDense(a, n), P = FromDense(p, m);

    SparseMatrix T, N;
    MultiplyTransposed(A, P, T);
    Multiply(T, A, N);
    ASSERT_EQ(T.RowCount(), static_cast<std::uint32_t>(n));
    ASSERT_EQ(T.columnCount, static_cast<std::uint32_t>(m));
    ASSERT_EQ(N.RowCount(), static_cast<std::uint32_t>(n));
    ASSERT_EQ(N.columnCount, static_cast<std::uint32_t>(n));

    // t[j][k] = Σ_i p[i][k]·a[i][j]; an element exists where any term exists.
    Dense t(n, std::vector<double>(m, 0.0));
    std::vector<std::vector<bool>> tStored(n, std::vector<bool>(m, false));
    for (int i = 0; i < m; ++i) {
      for (int j = 0; j < n; ++j) {
        for (int k = 0; k < m; ++k) {
          if (a[i][j] != 0.0 && p[i][k] != 0.0) {
            t[j][k] = tStored[j][k] ? p[i][k] * a[i][j] + t[j][k] : p[i][k] * a[i][j];
            tStored[j][k] = true;
          }
        }
      }
    }
    for (int j = 0; j < n; ++j) {
      for (int k = 0; k < m; ++k) {
        const double* stored = T.rows[j].Find(k);
        ASSERT_EQ(stored != nullptr, tStored[j][k]);
        if (stored) {
          EXPECT_TRUE(SameBits(*stored, t[j][k]));
        }
      }
    }

    for (int i = 0; i < n; ++i) {
      for (int k = 0; k < n; ++k) {
        double sum = 0.0;
        bool stored = false;
        for (int j = 0; j < m; ++j) {
          if (tStored[i][j] && a[j][k] != 0.0) {
            sum = stored ? a[j][k] * t[i][j] + sum : a[j][k] * t[i][j];
            stored = true;
          }
        }
        const double* found = N.rows[i].Find(k);
        ASSERT_EQ(found != nullptr, stored);
        if (found) {
          EXPECT_TRUE(SameBits(*found, sum));
        }
      }
    }

    DenseVector l(m);
    for (int i = 0; i < m; ++i)
      l[i] = 0.25 * i - 0.5;
    const DenseVector b = MultiplyVector(T, l);
    ASSERT_EQ(b.size(), static_cast<std::size_t>(n));
    for (int j = 0; j < n; ++j) {
      double sum = 0.0;
      for (int k = 0; k < m; ++k)
        if (tStored[j][k]) sum = sum + l[k] * t[j][k];
      EXPECT_TRUE(SameBits(b[j], sum));
    }
  }
}

TEST(NormalProducts, KeepCancellationsAndSignedZeroFirstContributions) {
  // 1·1 + (−1)·1 cancels to a stored 0.0; a lone −0.0 contribution is stored as −0.0.
  SparseMatrix A(2, 2);
  SetElement(A, 0, 0, 1.0);
  SetElement(A, 1, 0, -1.0);
  SetElement(A, 0, 1, 1.0);
  SetElement(A, 1, 1, 1.0);
  SparseMatrix P(2, 2);
  SetElement(P, 0, 0, 1.0);
  SetElement(P, 1, 1, 1.0);
  SparseMatrix T, N;
  MultiplyTransposed(A, P, T);
  Multiply(T, A, N);
  ASSERT_NE(N.rows[0].Find(1), nullptr);
  EXPECT_EQ(*N.rows[0].Find(1), 0.0);
  EXPECT_EQ(N.EntryCount(), 4u);

  SparseMatrix tiny(1, 1);
  SetElement(tiny, 0, 0, 1e-200);
  SparseMatrix square;
  MultiplyTransposed(tiny, tiny, square);  // 1e-400 underflows to +0.0, still stored
  ASSERT_NE(square.rows[0].Find(0), nullptr);
  EXPECT_TRUE(SameBits(*square.rows[0].Find(0), 0.0));

  SparseMatrix negative(1, 1);
  SetElement(negative, 0, 0, -1e-200);
  MultiplyTransposed(tiny, negative, square);
  ASSERT_NE(square.rows[0].Find(0), nullptr);
  EXPECT_TRUE(SameBits(*square.rows[0].Find(0), -0.0));

  DenseVector zeros(1, 0.0);
  DenseVector y = MultiplyVector(negative, zeros);  // 0.0 + (0·−1e-200) is +0.0
  EXPECT_TRUE(SameBits(y[0], 0.0));
}

TEST(NormalProducts, ReplaceWhateverTheResultHeldAndSetItsShape) {
  SparseMatrix A(0, 3);  // no rows
  SparseMatrix K(5, 9);
  SetElement(K, 4, 8, 1.0);
  MultiplyTransposed(A, A, K);
  EXPECT_EQ(K.RowCount(), 3u);
  EXPECT_EQ(K.columnCount, 3u);
  EXPECT_EQ(K.EntryCount(), 0u);

  SparseMatrix B(3, 4);
  SetElement(K, 0, 0, 1.0);
  Multiply(A, B, K);
  EXPECT_EQ(K.RowCount(), 0u);
  EXPECT_EQ(K.columnCount, 4u);

  SparseMatrix withEmptyRow(2, 2);
  SetElement(withEmptyRow, 0, 1, 3.0);
  DenseVector x(2, 2.0);
  DenseVector y = MultiplyVector(withEmptyRow, x);
  EXPECT_EQ(y[0], 6.0);
  EXPECT_EQ(y[1], 0.0);
}

TEST(InPlaceSums, InsertAbsentColumnsAndIgnoreExtraSourceRows) {
  SparseMatrix D(2, 4);
  SetElement(D, 0, 1, 5.0);
  SetElement(D, 1, 3, 7.0);
  SparseMatrix S(3, 4);
  SetElement(S, 0, 1, 2.0);
  SetElement(S, 0, 2, 4.0);
  SetElement(S, 2, 0, 100.0);  // beyond D's rows: ignored

  SparseMatrix sum = D;
  AddInPlace(sum, S);
  EXPECT_EQ(GetElement(sum, 0, 1), 7.0);
  EXPECT_EQ(GetElement(sum, 0, 2), 4.0);
  EXPECT_EQ(GetElement(sum, 1, 3), 7.0);
  EXPECT_EQ(sum.RowCount(), 2u);

  SparseMatrix difference = D;
  SubtractInPlace(difference, S);
  EXPECT_EQ(GetElement(difference, 0, 1), 3.0);
  EXPECT_EQ(GetElement(difference, 0, 2), -4.0);
  EXPECT_EQ(difference.EntryCount(), 3u);

  // Subtracting a matrix from itself leaves stored zeros, not removed ones.
  SparseMatrix self = D;
  SubtractInPlace(self, D);
  EXPECT_EQ(self.EntryCount(), 2u);
}

TEST(SubtractVector, TakesTheLengthOfTheFirstOperand) {
  DenseVector a(2, 1.0), b(3, 0.5);
  const DenseVector r = SubtractVector(a, b);
  ASSERT_EQ(r.size(), 2u);
  EXPECT_EQ(r[0], 0.5);
  EXPECT_EQ(r[1], 0.5);
}

}  // namespace
