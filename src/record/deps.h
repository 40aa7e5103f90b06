// The dependencies of the units, as rules for make and ninja.

#pragma once

#include "base.h"
#include "platform/text_buffer.h"

// Appends the rule of the unit that has ended, from its file events. `target` is the output's name.
void appendDeps(TextBuffer& report, const char* target);
