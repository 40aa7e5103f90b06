// From the user's spelling of a path to a name of the host. Used by the files
// of this folder alone.

#pragma once

#include "base.h"

struct stat;

// Room for a name of the host with its NUL: the longest that the system takes.
constexpr size_t hostNameSize = 4096;

// How the search for a name's real spelling ended.
enum ResolveOutcome {
  resolveFound,         // the name is now spelled as the directories have it
  resolveMissing,       // there is no such name in any spelling
  resolveDenied,        // the user may not look
  resolveNoDescriptor,  // a directory could not be read: no descriptor is left
  resolveNoMemory,      // the same for memory
  resolveBroken         // the host failed in another way
};

// What a call of the system that failed with `error` says of a name.
ResolveOutcome outcomeOfError(int error);

// Puts `path` into `name` (hostNameSize bytes) with the host's separators and
// without its drive. False if it is too long.
bool spellHostName(const char* path, char* name);

// Spells `name` in place as its directories do, each component without regard
// to case. To be asked only when the name as it stands does not exist.
ResolveOutcome resolveHostName(char* name);

// The same for a name that is asked for once: no listing is kept.
ResolveOutcome resolveHostNameOnce(char* name);

// The same for the directories of `name`; its last component stays as it is.
ResolveOutcome resolveHostDirectories(char* name);

// Spells `name` in place as its directories do if it does not exist as it
// stands, and puts what it names into `status`.
ResolveOutcome findHostStatus(char* name, struct stat& status);

// Where the last component of `name` begins.
size_t hostNameStart(const char* name);

// True if the listing of the name's directory has been read and lacks the name in
// every spelling: a search through many directories then needs no system call.
bool isKnownMissing(const char* name);

// Adds a name that this program has made to the listing of its directory.
void noteHostName(const char* name);
