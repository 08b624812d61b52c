#include "iteration/elapsed_time.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <ctime>

namespace {

SYSTEMTIME Reading(std::uint16_t dayOfWeek, std::uint16_t hour, std::uint16_t minute,
                   std::uint16_t second, std::uint16_t milliseconds) {
  SYSTEMTIME time{};
  time.wYear = 2024;
  time.wMonth = 6;
  time.wDay = 1;
  time.wDayOfWeek = dayOfWeek;
  time.wHour = hour;
  time.wMinute = minute;
  time.wSecond = second;
  time.wMilliseconds = milliseconds;
  return time;
}

constexpr std::uint16_t kSunday = 0;
constexpr std::uint16_t kMonday = 1;
constexpr std::uint16_t kTuesday = 2;
constexpr std::uint16_t kWednesday = 3;
constexpr std::uint16_t kSaturday = 6;
constexpr std::uint64_t kWrap = std::uint64_t{1} << 32;

TEST(ElapsedMilliseconds, CountsWithinTheWeekAndAddsSevenAtItsTurn) {
  struct Case {
    const char* what;
    SYSTEMTIME earlier;
    SYSTEMTIME later;
    std::uint32_t expected;
  };
  const Case cases[] = {
      {"within a second", Reading(kMonday, 10, 0, 0, 100), Reading(kMonday, 10, 0, 0, 350), 250},
      {"across midnight into the next day", Reading(kMonday, 23, 59, 59, 900),
       Reading(kTuesday, 0, 0, 0, 100), 200},
      {"Saturday to Sunday: 7 ms, not seven days", Reading(kSaturday, 23, 59, 59, 999),
       Reading(kSunday, 0, 0, 0, 1), static_cast<std::uint32_t>(kWrap + 8 - 604'799'999)},
      {"Wednesday to the following Sunday noon", Reading(kWednesday, 12, 0, 0, 0),
       Reading(kSunday, 12, 0, 0, 0), static_cast<std::uint32_t>(kWrap + 7 - 3 * 86'400'000)},
      {"a clock set back within a day", Reading(kMonday, 10, 0, 1, 0),
       Reading(kMonday, 10, 0, 0, 0), static_cast<std::uint32_t>(kWrap - 1000)},
  };
  for (const Case& test : cases) {
    EXPECT_EQ(ElapsedMilliseconds(test.earlier, test.later), test.expected) << test.what;
  }
}

TEST(GetSystemTime, ReadsTheUtcWallClock) {
  const std::time_t before = std::time(nullptr);
  SYSTEMTIME now;
  GetSystemTime(&now);
  const std::time_t after = std::time(nullptr);

  std::tm calendar{};
  calendar.tm_year = now.wYear - 1900;
  calendar.tm_mon = now.wMonth - 1;
  calendar.tm_mday = now.wDay;
  calendar.tm_hour = now.wHour;
  calendar.tm_min = now.wMinute;
  calendar.tm_sec = now.wSecond;
  const std::time_t reading = timegm(&calendar);
  EXPECT_LE(before, reading);
  EXPECT_LE(reading, after);
  EXPECT_EQ(now.wDayOfWeek, calendar.tm_wday);  // timegm normalised it; 0 is Sunday
  EXPECT_LT(now.wMilliseconds, 1000);
}

}  // namespace
