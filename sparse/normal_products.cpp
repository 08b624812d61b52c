#include "sparse/normal_products.h"

// Every product starts from a fresh row sequence of the result's row count: whatever K held
// before is gone, wherever it was.
static void ResetResult(SparseMatrix& K, std::uint32_t rowCount, std::uint32_t columnCount) {
  K.rows.clear();
  K.ResizeRows(rowCount);
  K.columnCount = columnCount;
}

void MultiplyTransposed(const SparseMatrix& A, const SparseMatrix& B, SparseMatrix& K) {
  ResetResult(K, A.columnCount, B.columnCount);
  const std::uint32_t rowCount = A.RowCount();
  // K[j][k] += B[i][k]·A[i][j], ascending i: row i of A and row i of B meet once.
  for (std::uint32_t i = 0; i < rowCount; ++i) {
    const SparseRow& rowB = B.rows[i];
    for (const auto& [j, a] : A.rows[i]) {
      SparseRow& target = K.rows[j];
      for (const auto& [k, p] : rowB) {
        target.AccumulateSum(k, p * a);
      }
    }
  }
}

void Multiply(const SparseMatrix& A, const SparseMatrix& B, SparseMatrix& K) {
  const std::uint32_t rowCount = A.RowCount();
  ResetResult(K, rowCount, B.columnCount);
  // K[i][k] += B[j][k]·A[i][j], ascending j.
  for (std::uint32_t i = 0; i < rowCount; ++i) {
    SparseRow& target = K.rows[i];
    for (const auto& [j, a] : A.rows[i]) {
      for (const auto& [k, q] : B.rows[j]) {
        target.AccumulateSum(k, q * a);
      }
    }
  }
}

DenseVector MultiplyVector(const SparseMatrix& M, const DenseVector& x) {
  const std::uint32_t rowCount = M.RowCount();
  DenseVector y(rowCount, 0.0);
  // y[i] = 0.0 + x[j]·M[i][j] + …, ascending j.
  for (std::uint32_t i = 0; i < rowCount; ++i) {
    double sum = y[i];
    for (const auto& [j, m] : M.rows[i]) {
      sum = sum + x[j] * m;
    }
    y[i] = sum;
  }
  return y;
}

void AddInPlace(SparseMatrix& D, const SparseMatrix& S) {
  const std::uint32_t rowCount = D.RowCount();
  for (std::uint32_t i = 0; i < rowCount; ++i) {
    SparseRow& target = D.rows[i];
    for (const auto& [k, s] : S.rows[i]) {
      target.AccumulateSum(k, s);
    }
  }
}

void SubtractInPlace(SparseMatrix& D, const SparseMatrix& S) {
  const std::uint32_t rowCount = D.RowCount();
  for (std::uint32_t i = 0; i < rowCount; ++i) {
    SparseRow& target = D.rows[i];
    for (const auto& [k, s] : S.rows[i]) {
      target.AccumulateDifference(k, s);
    }
  }
}

DenseVector SubtractVector(const DenseVector& a, const DenseVector& b) {
  DenseVector r = a;
  const std::size_t length = a.size();
  for (std::size_t i = 0; i < length; ++i) {
    r[i] = a[i] - b[i];
  }
  return r;
}
