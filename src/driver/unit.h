// The run of one translation unit, from the first table reset to the last byte
// of its output.

#pragma once

#include "base.h"
#include "platform/clock.h"

// Where a unit is: switches are parsed only outside.
enum OptionStage : signed char {
  stageOutside = 0,
  stageSetup = 1,  // while a unit is being set up
  stageTokens = 2  // from the start of the token pass; the output is open
};
extern OptionStage optionStage;

// The local time when the unit started.
extern LocalTime compileTime;

// A source name of the unit.
struct SourceName {
  SourceName* next;
  char name[1];  // the rest follows, NUL-terminated
};

// The unit's source names; the first one names the output.
extern SourceName* sourceNames;

// Runs the unit of `path` under the fault filter. Returns 0, or 2 if it ended
// with errors or a fatal stop.
int guardedTranslate(const char* path);

// Installs and removes the filters that report hardware faults.
void installFaultFilters();
void removeFaultFilters();
