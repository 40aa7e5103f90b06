// The clocks: the wall clock through the C library's time zone rules.

#include "platform/clock.h"

#include <time.h>
#include <windows.h>

// The 64-bit forms: a 32-bit time ends in 2038.
int64_t timeNow() {
  return int64_t{_time64(nullptr)};
}

int64_t steadyTime() {
  LARGE_INTEGER count;
  LARGE_INTEGER frequency;
  QueryPerformanceCounter(&count);
  QueryPerformanceFrequency(&frequency);
  // In two steps: the product of both would overflow after some days.
  const int64_t seconds = count.QuadPart / frequency.QuadPart;
  const int64_t rest = count.QuadPart % frequency.QuadPart;
  return seconds * 1'000'000'000 + rest * 1'000'000'000 / frequency.QuadPart;
}

// A time of the C library's; null for one outside the calendar's years.
static LocalTime fromSystem(const struct tm* broken) {
  // The epoch keeps every field within its range, which readers of month names rely on.
  if (broken == nullptr) return LocalTime{0, 0, 0, 1, 0, 70};
  return LocalTime{broken->tm_sec,  broken->tm_min, broken->tm_hour,
                   broken->tm_mday, broken->tm_mon, broken->tm_year};
}

LocalTime localTimeOf(int64_t time) {
  const __time64_t seconds = time;
  return fromSystem(_localtime64(&seconds));
}

LocalTime universalTimeOf(int64_t time) {
  const __time64_t seconds = time;
  return fromSystem(_gmtime64(&seconds));
}
