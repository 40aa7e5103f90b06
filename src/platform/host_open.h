// Opening names of the host, and what its errors mean. Used by the files of this
// folder alone.

#pragma once

#include "platform/host_names.h"
#include "platform/read_files.h"

struct stat;

// Opens a name of the host with the flags of open(); a signal in between does not
// count. -1 with errno on failure.
int openHost(const char* name, int flags);

// The OpenFailure for an open that failed with `error`, or whose name led to
// `outcome`.
int openFailure(int error);
int openFailure(ResolveOutcome outcome);

// True if a failed open or stat means that the spelling may be another.
bool isMissing(int error);

FileIdentity identityOf(const struct stat& status);

// Which of standard output and the error stream goes to `file`, or went there before it was captured; -1 for
// neither.
int standardStreamOf(FileIdentity file);

// True if both go to the same place.
bool standardStreamsAreOne();

// Makes the two streams go to other handles from now on.
void captureStandardStreams(int out, int err);

// The ordinary file that standard output goes to, or noFile.
FileIdentity consoleFile();
