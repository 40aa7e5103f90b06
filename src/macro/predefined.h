// The macros that every unit starts with, the dynamic names, and the file index.

#pragma once

#include "base.h"

// Stores the predefined macros; names that -D has defined keep their value.
void installPredefinedMacros();

// Makes the text of a dynamic name, by the number that reservedNameIndex gives.
// Returns the character with which the scanner goes on; the rest waits on the
// input stack or in pendingText.
Byte expandDynamicName(int index);

// Writes a comment "define NAME" to the output for each macro there is.
void dumpDefinedMacros();

// File identity is the name throughout: every name has the index 1.
int32_t fileIndexOf(const char* name);
const char* fileIndexToName(int32_t index);
