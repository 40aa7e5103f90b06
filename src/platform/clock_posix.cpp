// The clocks: the wall clock through the C library's time zone rules.

#include "platform/clock.h"

#include <time.h>

int64_t timeNow() {
  return int64_t{time(nullptr)};
}

int64_t steadyTime() {
  struct timespec now {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

static LocalTime fromSystem(const struct tm& broken) {
  return LocalTime{broken.tm_sec,  broken.tm_min, broken.tm_hour,
                   broken.tm_mday, broken.tm_mon, broken.tm_year};
}

LocalTime localTimeOf(int64_t time) {
  const time_t seconds = time_t(time);
  struct tm broken {};
  // A clock far outside the calendar's years has no local form; the epoch keeps
  // every field within its range, which readers of month names rely on.
  if (localtime_r(&seconds, &broken) == nullptr) return LocalTime{0, 0, 0, 1, 0, 70};
  return fromSystem(broken);
}

LocalTime universalTimeOf(int64_t time) {
  const time_t seconds = time_t(time);
  struct tm broken {};
  gmtime_r(&seconds, &broken);
  return fromSystem(broken);
}
