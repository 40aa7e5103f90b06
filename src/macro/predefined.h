// The macros that every unit starts with, and the dynamic names.

#pragma once

#include "base.h"
#include "names/names.h"

// When the unit started, as timeNow gives it. Only a unit that asks for its date or
// its time has it made local.
extern int64_t compileTime;

// Stores the predefined macros; names that -D has defined keep their value.
void installPredefinedMacros();

// Makes the text of a dynamic name. Returns the character with which the scanner goes on; the rest waits on
// the input stack or in pendingText.
Byte expandDynamicName(DynamicName name);

// Writes a comment "define NAME" to the output for each macro there is.
void dumpDefinedMacros();
