#include "sparse/sparse_matrix.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

namespace {

std::vector<std::uint32_t> Columns(const SparseRow& row) {
  std::vector<std::uint32_t> columns;
  for (const auto& [column, value] : row) {
    columns.push_back(column);
  }
  return columns;
}

TEST(SetElement, ZeroOfEitherSignRemovesAndReturnsZero) {
  for (const double zero : {0.0, -0.0}) {
    SparseMatrix matrix(2, 4);
    EXPECT_EQ(SetElement(matrix, 1, 3, 2.5), 2.5);
    EXPECT_EQ(matrix.rows[1].EntryCount(), 1u);

    const double returned = SetElement(matrix, 1, 3, zero);
    EXPECT_EQ(std::bit_cast<std::uint64_t>(returned), std::bit_cast<std::uint64_t>(0.0));
    EXPECT_EQ(matrix.rows[1].EntryCount(), 0u);
    EXPECT_EQ(GetElement(matrix, 1, 3), 0.0);

    // Removing what is not there changes nothing.
    EXPECT_EQ(SetElement(matrix, 1, 2, zero), 0.0);
    EXPECT_EQ(matrix.EntryCount(), 0u);
  }
}

TEST(SetElement, OverwritesAndStoresNaN) {
  SparseMatrix matrix(1, 1);
  SetElement(matrix, 0, 0, 1.0);
  SetElement(matrix, 0, 0, -3.0);
  EXPECT_EQ(GetElement(matrix, 0, 0), -3.0);
  EXPECT_EQ(matrix.rows[0].EntryCount(), 1u);

  const double nan = std::numeric_limits<double>::quiet_NaN();
  EXPECT_TRUE(std::isnan(SetElement(matrix, 0, 0, nan)));
  EXPECT_TRUE(std::isnan(GetElement(matrix, 0, 0)));
  EXPECT_EQ(matrix.rows[0].EntryCount(), 1u);
}

TEST(SparseRow, IteratesInAscendingColumnOrderAfterUnorderedInserts) {
  SparseMatrix matrix(1, 10);
  for (const std::uint32_t column : {7u, 2u, 5u, 9u, 0u}) {
    SetElement(matrix, 0, column, 1.0 + column);
  }
  EXPECT_EQ(Columns(matrix.rows[0]), (std::vector<std::uint32_t>{0, 2, 5, 7, 9}));
  for (const auto& [column, value] : matrix.rows[0]) {
    EXPECT_EQ(value, 1.0 + column);
  }
}

TEST(SparseMatrix, SizingCopyingAndReplacing) {
  SparseMatrix empty(0, 5);
  EXPECT_EQ(empty.RowCount(), 0u);
  EXPECT_EQ(empty.columnCount, 5u);

  SparseMatrix original(3, 3);
  SetElement(original, 0, 0, 1.0);
  SetElement(original, 2, 1, 2.0);
  SparseMatrix copy = original;  // deep: changing one leaves the other alone
  SetElement(copy, 0, 0, 9.0);
  SetElement(copy, 2, 1, 0.0);
  EXPECT_EQ(GetElement(original, 0, 0), 1.0);
  EXPECT_EQ(GetElement(original, 2, 1), 2.0);

  SparseMatrix smaller(1, 7);
  SetElement(smaller, 0, 4, 4.0);
  original.ReplaceRows(smaller);
  EXPECT_EQ(original.RowCount(), 1u);
  EXPECT_EQ(original.columnCount, 3u);  // the caller sets it separately
  EXPECT_EQ(Columns(original.rows[0]), (std::vector<std::uint32_t>{4}));

  original.ReplaceRows(original);
  EXPECT_EQ(original.EntryCount(), 1u);

  original.ResizeRows(4);
  EXPECT_EQ(original.RowCount(), 4u);
  EXPECT_EQ(original.rows[3].EntryCount(), 0u);
  original.ResizeRows(0);
  EXPECT_EQ(original.EntryCount(), 0u);
}

TEST(DenseVector, CreatedFilledAndCopiedByValue) {
  DenseVector vector(3, 0.0);
  ASSERT_EQ(vector.size(), 3u);
  vector[1] = 2.0;
  DenseVector copy = vector;
  copy[1] = 5.0;
  EXPECT_EQ(vector[1], 2.0);
  EXPECT_EQ(copy[0], 0.0);
  EXPECT_EQ(DenseVector().size(), 0u);
}

}  // namespace
