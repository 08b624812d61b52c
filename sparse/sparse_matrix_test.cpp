#include "sparse/sparse_matrix.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <map>
#include <random>
#include <utility>
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

bool SameBits(double left, double right) {
  return std::bit_cast<std::uint64_t>(left) == std::bit_cast<std::uint64_t>(right);
}

using Reference = std::map<std::uint32_t, double>;

// The row against a map holding what it should: same columns in the same order, same bits.
void ExpectRowEquals(const SparseRow& row, const Reference& expected) {
  ASSERT_EQ(row.EntryCount(), expected.size());
  auto want = expected.begin();
  for (const auto& [column, value] : row) {
    ASSERT_EQ(column, want->first);
    ASSERT_TRUE(SameBits(value, want->second)) << column;
    const double* found = row.Find(column);
    ASSERT_NE(found, nullptr);
    ASSERT_TRUE(SameBits(*found, want->second));
    ++want;
  }
}

// Long and short rows under every writer in scattered order, against a map doing the same:
// inserts in front of, between and behind stored entries, overwrites, removals, copies.
TEST(SparseRow, AgreesWithAnOrderedMapUnderScatteredWrites) {
  std::mt19937 random(17);
  for (const std::uint32_t span : {8u, 64u, 5000u}) {
    SparseRow row;
    Reference expected;
    std::uniform_int_distribution<std::uint32_t> column(0, span - 1);
    std::uniform_real_distribution<double> value(-1.0, 1.0);
    for (int step = 0; step < 20000; ++step) {
      const std::uint32_t c = column(random);
      const double v = step % 97 == 0 ? -0.0 : value(random);
      switch (random() % 5) {
        case 0:
          row.Store(c, v);
          expected[c] = v;
          break;
        case 1:
          ASSERT_EQ(row.Erase(c), expected.erase(c) == 1);
          break;
        case 2: {
          row.AccumulateSum(c, v);
          const auto [place, inserted] = expected.try_emplace(c, v);
          if (!inserted) place->second = v + place->second;
          break;
        }
        case 3: {
          row.AccumulateDifference(c, v);
          const auto [place, inserted] = expected.try_emplace(c, -v);
          if (!inserted) place->second = place->second - v;
          break;
        }
        default: {
          const std::uint32_t behind = expected.empty() ? c : expected.rbegin()->first + 1 + c;
          row.Append(behind, v);
          expected[behind] = v;
        }
      }
      if (step % 4999 == 0) {
        ExpectRowEquals(row, expected);
        for (std::uint32_t probe = 0; probe < span + 2; ++probe) {
          ASSERT_EQ(row.Find(probe) != nullptr, expected.count(probe) == 1) << probe;
        }
      }
    }
    ExpectRowEquals(row, expected);

    SparseRow copy = row;
    copy.Store(0, 42.0);
    ExpectRowEquals(row, expected);
    copy = row;  // into a block already large enough
    ExpectRowEquals(copy, expected);
    SparseRow small;
    small.Append(1, 1.0);
    small = row;  // into a block too small
    ExpectRowEquals(small, expected);
    SparseRow moved = std::move(small);
    ExpectRowEquals(moved, expected);
    EXPECT_TRUE(small.Empty());
    moved.Clear();
    EXPECT_EQ(moved.EntryCount(), 0u);
    EXPECT_EQ(moved.begin(), moved.end());
    moved.Store(3, 1.0);  // usable after Clear
    EXPECT_EQ(moved.begin()->first, 3u);
  }
}

// Merging equals accumulating the source's entries one by one in ascending order, for sources
// that add columns before, between and behind the target's, that add none, and for a row merged
// with itself.
TEST(SparseRow, MergeMatchesAccumulatingEntryByEntry) {
  std::mt19937 random(23);
  std::uniform_real_distribution<double> value(-1.0, 1.0);
  const auto randomRow = [&](std::uint32_t span, double density) {
    SparseRow row;
    std::bernoulli_distribution present(density);
    for (std::uint32_t c = 0; c < span; ++c) {
      if (present(random)) row.Append(c, value(random));
    }
    return row;
  };
  for (int trial = 0; trial < 40; ++trial) {
    const SparseRow target = randomRow(60, trial % 4 == 0 ? 0.0 : 0.5);
    SparseRow source = randomRow(80, trial % 5 == 0 ? 0.0 : 0.3);
    if (trial % 3 == 0) {
      source = target;  // no new column: updated in place
    }
    for (const bool difference : {false, true}) {
      SparseRow merged = target, reference = target;
      if (difference) {
        merged.MergeDifference(source);
      } else {
        merged.MergeSum(source);
      }
      Reference expected;
      for (const auto& [column, v] : source) {
        if (difference) {
          reference.AccumulateDifference(column, v);
        } else {
          reference.AccumulateSum(column, v);
        }
      }
      for (const auto& [column, v] : reference)
        expected[column] = v;
      ExpectRowEquals(merged, expected);

      SparseRow self = target;
      Reference doubled;
      for (const auto& [column, v] : target)
        doubled[column] = difference ? v - v : v + v;
      if (difference) {
        self.MergeDifference(self);
      } else {
        self.MergeSum(self);
      }
      ExpectRowEquals(self, doubled);
    }
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
