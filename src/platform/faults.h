// Signals and hardware faults.

#pragma once

#include "base.h"

// Runs `handler` on the break signal (SIGINT, SIGTERM and SIGHUP alike) and ends the
// process with `status`. The handler must do only what is safe there. A signal that
// was ignored when the program started stays ignored.
void installBreakHandler(void (*handler)(), int status);

// Holds breaks back until the matching release, which then doesn't return. A system
// call that waits is ended by a break all the same, with EINTR. Holds nest.
void holdBreaks();
void releaseBreaks();

// True if a break has come and waits for its release.
bool breakWaits();

// What a fault filter is told.
struct FaultRecord {
  uintptr_t address;  // of the instruction that faulted
  uintptr_t base;     // of the module that holds the program's code
};

// Runs `filter` on a hardware fault that is no stack overflow. The filter may
// return; the process then ends by the default action of the signal. Also
// prepares the alternate stack on which handlers run.
void installFaultFilter(void (*filter)(const FaultRecord& record));
void removeFaultFilter();

// Runs `body(argument)`. Returns true when it has returned, false when the
// stack overflowed in it: all its frames are then gone. Guards nest.
bool runWithStackGuard(void (*body)(void*), void* argument);
