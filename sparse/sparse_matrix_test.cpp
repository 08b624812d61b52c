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

#include "sparse/sparse_matrix_writers.h"

namespace {

bool SameBits(double left, double right) {
  return std::bit_cast<std::uint64_t>(left) == std::bit_cast<std::uint64_t>(right) ||
         (std::isnan(left) && std::isnan(right));
}

TEST(SetElement, RemovesZerosOfEitherSignAndStoresEverythingElse) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  struct Case {
    double before, written, returned;  // (1, 3) holds before, then written goes there
    bool stored;
  };
  for (const Case& c :
       {Case{2.5, 0.0, 0.0, false}, Case{2.5, -0.0, 0.0, false}, Case{0.0, -0.0, 0.0, false},
        Case{1.0, -3.0, -3.0, true}, Case{1.0, nan, nan, true}}) {
    SCOPED_TRACE(testing::Message() << c.before << " then " << c.written);
    SparseMatrix matrix(2, 4);
    SetElement(matrix, 1, 3, c.before);
    EXPECT_TRUE(SameBits(SetElement(matrix, 1, 3, c.written), c.returned));
    EXPECT_EQ(matrix.EntryCount(), c.stored ? 1u : 0u);
    EXPECT_TRUE(SameBits(GetElement(matrix, 1, 3), c.returned));
  }
}

using Reference = std::map<std::uint32_t, double>;

// Same columns in the same order, same bits, found by Find.
void ExpectRowEquals(const SparseRow& row, const Reference& expected) {
  ASSERT_EQ(row.EntryCount(), expected.size());
  auto want = expected.begin();
  for (const auto& [column, value] : row) {
    ASSERT_EQ(column, want->first);
    ASSERT_TRUE(SameBits(value, want->second)) << column;
    ASSERT_EQ(row.Find(column), &value);
    ++want;
  }
}

// Short and long rows under every writer in scattered order (inserts in front of, between and
// behind stored entries, overwrites, removals, accumulations) iterate in ascending column order
// as the map does, also once copied and moved.
TEST(SparseRow, AgreesWithAnOrderedMapUnderScatteredWrites) {
  std::mt19937 random(17);
  std::uniform_real_distribution<double> value(-1.0, 1.0);
  for (const std::uint32_t span : {8u, 64u, 5000u}) {
    SparseRow row;
    SparseRowWriter writer(row);
    Reference expected;
    for (int step = 0; step < 20000; ++step) {
      const std::uint32_t c = random() % span;
      const double v = step % 97 == 0 ? -0.0 : value(random);
      switch (random() % 4) {
        case 0:
          writer.Store(c, v);
          expected[c] = v;
          break;
        case 1:
          ASSERT_EQ(writer.Erase(c), expected.erase(c) == 1);
          break;
        case 2: {
          writer.AccumulateSum(c, v);
          const auto [place, inserted] = expected.try_emplace(c, v);
          if (!inserted) place->second = v + place->second;
          break;
        }
        default: {
          const std::uint32_t behind = expected.empty() ? c : expected.rbegin()->first + 1 + c;
          writer.Append(behind, v);
          expected[behind] = v;
        }
      }
      if (step % 4999 == 0) {
        ExpectRowEquals(row, expected);
        for (std::uint32_t probe = 0; probe < span + 2; ++probe)
          ASSERT_EQ(row.Find(probe) != nullptr, expected.count(probe) == 1) << probe;
      }
    }
    ExpectRowEquals(row, expected);

    SparseRow copy = row, small;
    SparseRowWriter(copy).Store(0, 42.0);
    SparseRowWriter(small).Append(1, 1.0);
    small = row;
    SparseRow moved = std::move(small);
    EXPECT_TRUE(small.Empty());
    ExpectRowEquals(row, expected);
    ExpectRowEquals(moved, expected);
  }
}

}  // namespace
