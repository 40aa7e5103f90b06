// The signal by which a process ends the jobs that it has started. Used by the files of this folder alone.

#pragma once

#include <signal.h>

constexpr int stopSignal = SIGUSR1;

// Makes the signal a break, whether or not breaks were ignored when the program started.
void obeyStopSignal();
