// The program: banner and help, the loop over source files, and the exit status.

#pragma once

#include "base.h"

// Runs the whole program on an argument vector and returns its exit status: 0,
// or 1 if any file failed. May be called again in the same process.
int runProgram(int argc, char** argv);
