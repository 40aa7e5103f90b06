// The process: entry, banner and help, the loop over source files, and the end.

#pragma once

#include "base.h"

// Runs the whole program on an argument vector and returns its exit status: 0,
// or 1 if any file failed. May be called again in the same process.
int runProgram(int argc, char** argv);

// Ends the process in order: flushes the console, stops the memory layer, exits
// with `status`. For ends before or between units.
[[noreturn]] void endProcess(int status);

// What endProcess calls in place of the exit, if set; must not return. Lets a
// program that links the core survive such an end.
using EndProcessHook = void (*)(int status);
extern EndProcessHook endProcessHook;

// Text for standard output with its carriage returns dropped.
void printText(const char* text);
