// --jobs: units that run at the same time, each in a process of its own, with the same messages, order and
// status as one after the other.

#pragma once

#include "base.h"

// Translates one unit and tells whether it succeeded.
using UnitRoutine = bool (*)(const char* path, bool standardInput);

// The start of a run, whose units `routine` translates.
void resetJobs(UnitRoutine routine);

// The same when the switches are known. `stopsEarly`: a unit may end the run, so each has to wait
// for the one before.
void beginJobs(bool stopsEarly);

// True in a process that was started for some units of a run: nothing but these is to be seen of it.
bool isJobProcess();

// Runs the unit with this number, from 1 on, now or later. The path need not last.
void runUnit(uint32_t number, const char* path, bool standardInput);

// Waits for all units that have been begun. To be called before the run itself prints something, or looks for
// files that units make. False if any unit of the run has failed so far.
bool finishJobs();
