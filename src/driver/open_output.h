// The name of a unit's output, and its opening.

#pragma once

#include "base.h"

// Notes the source that names the output, which is not open yet; the start of a
// unit. The path must last as long as the unit.
void prepareOutput(const char* sourcePath);

// Opens the output of the unit if that has not been done yet; a file that cannot
// be created ends the unit.
void ensureOutputOpen();

// The name of the unit's output file, or the one that it would have if the console
// were not its output, as other programs of the host write it; once the output has
// been opened. A host that can't tell ends the unit.
const char* unitOutputName();

// The name of the output file that a unit of this source would have, in a block of
// memAlloc; null if that is the console.
char* plannedOutput(const char* path);

// True from the first attempt to open the output to the end of the unit.
bool isOutputNamed();
