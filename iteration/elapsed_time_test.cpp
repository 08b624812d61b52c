#include "iteration/elapsed_time.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace {

// Milliseconds of the week (Sunday is day 0), the difference wrapped to 32 bits; a later reading
// on an earlier day of the week gets 7 ms added, not seven days.
TEST(ElapsedMilliseconds, CountsWithinTheWeekAndAddsSevenAtItsTurn) {
  const struct {
    SYSTEMTIME earlier, later;  // year, month, day of the week, day, h, min, s, ms
    int expected;
  } cases[] = {
      {{2024, 6, 1, 3, 10, 0, 0, 100}, {2024, 6, 1, 3, 10, 0, 0, 350}, 250},
      {{2024, 6, 1, 3, 23, 59, 59, 900}, {2024, 6, 2, 4, 0, 0, 0, 100}, 200},
      {{2024, 6, 6, 1, 23, 59, 59, 999}, {2024, 6, 0, 2, 0, 0, 0, 1}, 8 - 604'799'999},
      {{2024, 6, 3, 5, 12, 0, 0, 0}, {2024, 6, 0, 9, 12, 0, 0, 0}, 7 - 3 * 86'400'000},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(ElapsedMilliseconds(c.earlier, c.later), static_cast<std::uint32_t>(c.expected));
  }
}

}  // namespace
