// The macros that every unit starts with, and the dynamic names.

#pragma once

#include "base.h"
#include "names/names.h"
#include "platform/clock.h"

// The local time when the unit started.
extern LocalTime compileTime;

// Stores the predefined macros; names that -D has defined keep their value.
void installPredefinedMacros();

// Makes the text of a dynamic name. Returns the character with which the scanner goes on; the rest waits on
// the input stack or in pendingText.
Byte expandDynamicName(DynamicName name);

// Writes a comment "define NAME" to the output for each macro there is.
void dumpDefinedMacros();
