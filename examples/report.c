/* A report for one of several targets: macros, conditional groups and an included file at work.
   Try:  scripts/run.sh -P- examples/report.c   and add -DTARGET=2 in front of the name. */
#include "report.h"

#ifndef TARGET
#define TARGET TARGET_SMALL
#endif

#if TARGET == TARGET_LARGE && sizeof(long) >= 4
#define BUFFER_SIZE KILOBYTES(16)
#elif TARGET == TARGET_SMALL
#define BUFFER_SIZE 512
#else
#error There is no such target
#endif

static char buffer[BUFFER_SIZE];

int report(int code) {
  CHECK(code >= 0);                 // becomes a test that knows its own text and line
  return ENTRY(report, _code) + code;
}
