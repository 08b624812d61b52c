#include "sparse/normal_products.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <map>
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

// The products written as plain loops over ordered maps, entry by entry, in the order the
// operations define: what the row-at-a-time products must reproduce bit for bit.
using ReferenceRows = std::vector<std::map<std::uint32_t, double>>;

ReferenceRows ToReference(const SparseMatrix& matrix) {
  ReferenceRows rows(matrix.RowCount());
  for (std::uint32_t i = 0; i < matrix.RowCount(); ++i) {
    for (const auto& [column, value] : matrix.rows[i])
      rows[i][column] = value;
  }
  return rows;
}

void Accumulate(std::map<std::uint32_t, double>& row, std::uint32_t column, double v) {
  const auto [place, inserted] = row.try_emplace(column, v);
  if (!inserted) place->second = v + place->second;
}

ReferenceRows ReferenceMultiplyTransposed(const SparseMatrix& A, const SparseMatrix& B) {
  ReferenceRows K(A.columnCount);
  for (std::uint32_t i = 0; i < A.RowCount(); ++i) {
    for (const auto& [j, a] : A.rows[i]) {
      for (const auto& [k, p] : B.rows[i])
        Accumulate(K[j], k, p * a);
    }
  }
  return K;
}

ReferenceRows ReferenceMultiply(const SparseMatrix& A, const SparseMatrix& B) {
  ReferenceRows K(A.RowCount());
  for (std::uint32_t i = 0; i < A.RowCount(); ++i) {
    for (const auto& [j, a] : A.rows[i]) {
      for (const auto& [k, q] : B.rows[j])
        Accumulate(K[i], k, q * a);
    }
  }
  return K;
}

// Same columns in every row and the same bits in every entry (any NaN matches any NaN: which
// operand's payload a NaN result carries is the processor's choice, not the order of the sum).
void ExpectSameEntries(const SparseMatrix& actual, const ReferenceRows& expected) {
  ASSERT_EQ(actual.RowCount(), expected.size());
  for (std::uint32_t i = 0; i < expected.size(); ++i) {
    ASSERT_EQ(actual.rows[i].EntryCount(), expected[i].size()) << "row " << i;
    auto want = expected[i].begin();
    for (const auto& [column, value] : actual.rows[i]) {
      ASSERT_EQ(column, want->first) << "row " << i;
      ASSERT_TRUE(SameBits(value, want->second) || (std::isnan(value) && std::isnan(want->second)))
          << "row " << i << " column " << column << ": " << value << " vs " << want->second;
      ++want;
    }
  }
}

// Sparse with awkward values: stored zeros of both signs (the products leave such entries),
// NaN, infinities, and small integers whose sums cancel exactly. Rows are written in scattered
// column order. A column may lie far beyond columnCount, which nothing checks.
SparseMatrix AwkwardMatrix(std::mt19937& random, std::uint32_t rows, std::uint32_t columns,
                           double density, std::uint32_t farColumn = 0) {
  SparseMatrix matrix(rows, columns);
  std::bernoulli_distribution present(density);
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double infinity = std::numeric_limits<double>::infinity();
  const double values[] = {1.0, -1.0, 0.5, -2.0, 3.0, 0.0, -0.0, 1e-300, -1e300, 0.1, -0.7};
  for (std::uint32_t i = 0; i < rows; ++i) {
    for (std::uint32_t step = 0; step < columns; ++step) {
      const std::uint32_t j = (step * 7 + i) % columns;  // scattered order
      if (!present(random)) continue;
      const unsigned pick = random() % 100;
      const double v = pick == 0 ? nan : pick == 1 ? infinity : values[pick % 11];
      matrix.rows[i].Store(j, v);
    }
  }
  if (farColumn != 0 && rows != 0) matrix.rows[rows - 1].Store(farColumn, 2.0);
  return matrix;
}

TEST(NormalProducts, RowAtATimeProductsMatchPlainLoopsBitForBit) {
  std::mt19937 random(29);
  struct Case {
    std::uint32_t m, n;
    double density;
    std::uint32_t farColumn;  // nonzero: B's columns spread far beyond its entries
  };
  const Case cases[] = {{1, 1, 1.0, 0},   {5, 3, 0.6, 0}, {12, 9, 0.3, 0},      {30, 40, 0.15, 0},
                        {40, 25, 0.9, 0}, {9, 7, 0.5, 0}, {8, 6, 0.5, 3000000}, {0, 4, 0.5, 0}};
  for (const Case& c : cases) {
    for (int trial = 0; trial < 5; ++trial) {
      const SparseMatrix A = AwkwardMatrix(random, c.m, c.n, c.density);
      const SparseMatrix B = AwkwardMatrix(random, c.m, c.m + 2, c.density, c.farColumn);

      SparseMatrix K = AwkwardMatrix(random, 3, 3, 0.5);  // whatever K held goes
      MultiplyTransposed(A, B, K);
      EXPECT_EQ(K.columnCount, B.columnCount);
      ExpectSameEntries(K, ReferenceMultiplyTransposed(A, B));

      MultiplyTransposed(A, A, K);  // one matrix as both operands
      ExpectSameEntries(K, ReferenceMultiplyTransposed(A, A));

      // Rows of the left factor may be empty, its columns index the right factor's rows.
      const SparseMatrix C = AwkwardMatrix(random, c.n, c.m + 2, c.density, c.farColumn);
      SparseMatrix product = AwkwardMatrix(random, 2, 2, 1.0);
      Multiply(A, C, product);
      EXPECT_EQ(product.columnCount, C.columnCount);
      ExpectSameEntries(product, ReferenceMultiply(A, C));
    }
  }
}

// The datum Gram matrix: seven rows over every third, two thirds or all of the columns, so that
// each result row is dense and its contributions arrive interleaved from several rows.
TEST(NormalProducts, DenseGramMatrixMatchesPlainLoops) {
  std::mt19937 random(31);
  std::uniform_real_distribution<double> value(-1.0, 1.0);
  for (const std::uint32_t unknowns : {3u, 30u, 300u}) {
    SparseMatrix G(7, unknowns);
    for (std::uint32_t column = unknowns; column-- > 0;) {  // written back to front
      const std::uint32_t axis = column % 3;
      SetElement(G, axis, column, 0.25);
      for (std::uint32_t rotation = 3; rotation < 6; ++rotation) {
        if (rotation - 3 != axis) SetElement(G, rotation, column, value(random));
      }
      SetElement(G, 6, column, value(random));
    }
    SparseMatrix gram;
    MultiplyTransposed(G, G, gram);
    ExpectSameEntries(gram, ReferenceMultiplyTransposed(G, G));
    EXPECT_EQ(gram.EntryCount(), std::size_t{unknowns} * unknowns);

    // Added to and taken from a sparse N, as a free network's step does.
    SparseMatrix N = AwkwardMatrix(random, unknowns, unknowns, 0.05);
    ReferenceRows expected = ToReference(N);
    AddInPlace(N, gram);
    for (std::uint32_t i = 0; i < unknowns; ++i) {
      for (const auto& [k, s] : gram.rows[i])
        Accumulate(expected[i], k, s);
    }
    ExpectSameEntries(N, expected);
    SubtractInPlace(N, gram);
    for (std::uint32_t i = 0; i < unknowns; ++i) {
      for (const auto& [k, s] : gram.rows[i]) {
        const auto [place, inserted] = expected[i].try_emplace(k, -s);
        if (!inserted) place->second = place->second - s;
      }
    }
    ExpectSameEntries(N, expected);
  }
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
