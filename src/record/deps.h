// The dependencies of the units, as rules for make and ninja.

#pragma once

#include "base.h"
#include "platform/text_buffer.h"

// Appends the rule of the unit that has ended, from its file events. With `phony` a rule without a recipe
// follows for each file but the source. Lacking memory is noted in `report`.
void appendDeps(TextBuffer& report, const char* target, bool phony);
