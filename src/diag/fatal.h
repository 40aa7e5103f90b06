// The way out of a fatal error: a non-local return to the innermost level that
// has been protected.
//
// Levels nest. The run of the program is the outermost one, so there is always a
// level to return to; each unit adds its own. No object with a destructor may
// live in a routine that a protected body calls: the return runs none.

#pragma once

#include "base.h"

// Runs body(argument). False if a fatal error has left it.
bool runProtected(void (*body)(void* argument), void* argument);

// Forgets the levels that are armed: a process that has been doubled doesn't return to them.
void forgetLevels();

// Leave the innermost level, or all levels at once, which ends the run.
[[noreturn]] void leaveLevel();
[[noreturn]] void leaveRun();
