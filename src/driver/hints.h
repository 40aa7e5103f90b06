// Hints for somebody who types the command line: what a usual slip looks like when it is written right.
// They appear where standard error is a terminal, and nowhere else.

#pragma once

#include "base.h"

// Keeps the arguments, which must stay where they are; before the long switches are taken out.
void keepArguments(char** argv, int argc);

// Writes the hints that suit the run; its end.
void writeHints(bool runFailed);
