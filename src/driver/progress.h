// How far a run of many files is, on the error stream's terminal.

#pragma once

#include "base.h"

// The start of a run over `count` units, 0 if nothing is to be shown.
void beginProgress(uint32_t count);

// The unit with this number, from 1 on, begins.
void showProgress(uint32_t number, const char* path);

// True if somebody can see it and the messages don't come out on the same screen.
bool mayShowProgress();
