// The wall clock.

#pragma once

#include "base.h"

// A local time, broken down.
struct LocalTime {
  int32_t second;    // 0 to 60
  int32_t minute;    // 0 to 59
  int32_t hour;      // 0 to 23
  int32_t day;       // 1 to 31
  int32_t month;     // 0 to 11
  int32_t year;      // years since 1900
  int32_t weekDay;   // 0 to 6, from Sunday
  int32_t yearDay;   // 0 to 365
  int32_t daylight;  // above 0 in daylight-saving time
};

LocalTime localTimeNow();
