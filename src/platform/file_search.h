// Directory search: the files that a pattern with '*' and '?' names.

#pragma once

#include "base.h"

// The names found, in order; opaque to callers.
struct FileMatches;

// Finds the files that `pattern` matches in its directory. Wildcards match
// without regard to ASCII case, "*.*" matches every name; directories and other
// things that cannot be read as a file never match; a name that begins with a
// dot is hidden from a wildcard. A pattern without a wildcard gives the name as
// the directory spells it, the exact spelling first. Matches come sorted. One search
// at a time: closeMatches goes before the next.
enum FindOutcome {
  filesFound,     // closeMatches releases `matches`
  filesMissing,   // nothing matched
  filesNoMemory,  // the host has no memory left
  filesBroken     // the directory could not be read to its end: any names are lost
};
FindOutcome findFiles(const char* pattern, FileMatches*& matches);

// The next name (the last component alone), or null when none is left. Valid
// until closeMatches.
const char* nextMatch(FileMatches* matches);

void closeMatches(FileMatches* matches);

// True if the names that `pattern` matches are to be put into lower case, as on a
// volume that does not keep the case of names.
bool foldsFileNames(const char* pattern);
