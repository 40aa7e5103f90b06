// The output of a unit as a file of the host.
//
// Nobody ever reads half an output under its name. The text goes into a file of
// another name, in the same directory, that takes the output's name when it is
// complete. Where that can't be, it is gathered out of sight and copied at the end.
// Devices, pipes and the console's own file get it as it comes.

#pragma once

#include "base.h"

// Makes an output that is to have the name `path`. Returns a handle to write to, or
// an OpenFailure: also for a file that the unit or the run has read. A file that has
// the name stays as it is until finishCreatedFile or removeCreatedFile.
int createFile(const char* path);

// The name of the host that the output made last was asked for by, with '/' between its components.
const char* createdHostName();

// How finishCreatedFile ended.
enum FinishResult {
  finishDone,
  finishNotWritten,  // the text could not be written whole
  finishRefused      // the file that has the name was read by the unit, or can't be replaced
};

// Closes the handle that createFile gave, all of the text having been written, and
// puts the output in its place. If that fails, removeCreatedFile is still to be
// called.
FinishResult finishCreatedFile(int handle);

// Removes what createFile began, and with it an older file of that name, unless it
// was read: an output that failed must not look like one that has succeeded. A file
// that can't be deleted is emptied. Does nothing when there is no output or it is
// finished. The handle stays open. Safe in a signal handler, also while it runs.
void removeCreatedFile();
