// The wall clock, and one for measuring.

#pragma once

#include "base.h"

// A time, broken down.
struct LocalTime {
  int32_t second;  // 0 to 60
  int32_t minute;  // 0 to 59
  int32_t hour;    // 0 to 23
  int32_t day;     // 1 to 31
  int32_t month;   // 0 to 11
  int32_t year;    // years since 1900
};

// The time now, in seconds since 1970.
int64_t timeNow();

// A time in nanoseconds that never steps back; of the same zero in all processes of the host.
int64_t steadyTime();

// A time of timeNow as a local one. It needs the rules of the time zone, whose
// reading costs more than a small unit.
LocalTime localTimeOf(int64_t time);

// The same in universal time, which needs no rules; from 0 to the end of the year 9999.
LocalTime universalTimeOf(int64_t time);
