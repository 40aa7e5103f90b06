// From the user's spelling of a path to a name of the host. Used by the files
// of this folder alone.

#pragma once

#include "base.h"

// Room for a name of the host with its NUL: the longest that the system takes.
constexpr size_t hostNameSize = 4096;

// How the search for a name's real spelling ended.
enum ResolveOutcome {
  resolveFound,        // the name is now spelled as the directories have it
  resolveMissing,      // there is no such name in any spelling
  resolveNoDescriptor  // a directory could not be read: no descriptor is left
};

// Puts `path` into `name` (hostNameSize bytes) with the host's separators and
// without its drive. False if it is too long.
bool spellHostName(const char* path, char* name);

// Spells `name` in place as its directories do, each component without regard
// to case. To be asked only when the name as it stands does not exist.
ResolveOutcome resolveHostName(char* name);

// The same for the directories of `name`; its last component stays as it is.
ResolveOutcome resolveHostDirectories(char* name);

// Where the last component of `name` begins.
size_t hostNameStart(const char* name);
