// The wall clock, through the C library's time zone rules.

#include "platform/clock.h"

#include <time.h>

LocalTime localTimeNow() {
  const time_t now = time(nullptr);
  struct tm broken {};
  // A clock far outside the calendar's years has no local form; the epoch keeps
  // every field within its range, which readers of month names rely on.
  if (localtime_r(&now, &broken) == nullptr) return LocalTime{0, 0, 0, 1, 0, 70, 4, 0, 0};
  return LocalTime{broken.tm_sec,  broken.tm_min,  broken.tm_hour, broken.tm_mday, broken.tm_mon,
                   broken.tm_year, broken.tm_wday, broken.tm_yday, broken.tm_isdst};
}
