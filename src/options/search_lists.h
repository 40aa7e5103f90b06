// The directories of -I and -L, in the order in which files are looked for.

#pragma once

#include "base.h"

// A directory of a search list, ending in a separator unless empty.
struct DirNode {
  DirNode* next;
  const char* path;
};

// The directories of one switch, in the order in which it named them.
struct SearchList {
  DirNode* first;
  DirNode* last;
};

extern SearchList includeDirs;  // -I
extern SearchList libraryDirs;  // -L, for #import

// Splits `text` at ';' and appends each directory to `list`.
void addDirs(SearchList& list, const char* text);

// Empties both lists; the start of a run.
void clearSearchLists();
