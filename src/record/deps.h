// The dependencies of the units, as rules for make and ninja.

#pragma once

#include "base.h"
#include "platform/text_buffer.h"

// How the rules are to look.
struct DepsForm {
  const char* target;  // of every rule; null for the unit's output
  bool phony;          // a rule without a recipe follows for each file but the source
};

// Appends the rule of the unit that has ended, from its file events; `output` is the name of its output.
// Lacking memory is noted in `report`.
void appendDeps(TextBuffer& report, const char* output, const DepsForm& form);
