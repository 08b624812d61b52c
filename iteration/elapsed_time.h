#pragma once
// The step's clock: wall-clock readings as SYSTEMTIME and the millisecond timers of a step.
//
// On Windows the readings come from GetSystemTime itself. Elsewhere a stand-in of the same
// name fills a structure with the same 16-bit fields from the UTC wall clock, so the timer
// arithmetic below sees the same fields on every platform.

#include <cstdint>

#ifdef _WIN32
#include <windows.h>
#else
struct SYSTEMTIME {
  std::uint16_t wYear;
  std::uint16_t wMonth;      // 1 = January
  std::uint16_t wDayOfWeek;  // 0 = Sunday, 6 = Saturday
  std::uint16_t wDay;
  std::uint16_t wHour;
  std::uint16_t wMinute;
  std::uint16_t wSecond;
  std::uint16_t wMilliseconds;
};

// Fills time with the current UTC date and time.
void GetSystemTime(SYSTEMTIME* time);
#endif

// Milliseconds from earlier to later. Each reading counts
//   (((wDayOfWeek·24 + wHour)·60 + wMinute)·60 + wSecond)·1000 + wMilliseconds
// from the start of its week; when later's day of the week is smaller than earlier's, 7 is
// added to later's count. The difference is returned wrapped to 32 bits, so an interval that
// crosses from Saturday into Sunday comes out "negative" (near 2³²). Nothing is checked.
std::uint32_t ElapsedMilliseconds(const SYSTEMTIME& earlier, const SYSTEMTIME& later);

// The two readings of one step: its start S and a running reading R from which laps are taken.
// Every operation below that says "now" takes exactly one fresh reading.
class StepClock {
 public:
  // Reads S; R starts out equal to S.
  StepClock();

  // Elapsed from S to now; R becomes now.
  std::uint32_t SinceStart();
  // Elapsed from R to now; R stays where it is.
  std::uint32_t SinceLap() const;
  // Elapsed from R to now; R becomes now.
  std::uint32_t Lap();
  // R becomes now: the time since the last reading is counted nowhere.
  void Restart();

 private:
  SYSTEMTIME start;
  SYSTEMTIME running;
};
