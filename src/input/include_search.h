// The search for included files, and the #include directive.

#pragma once

#include "base.h"
#include "input/frame.h"

// A directory of a search list, ending in a separator unless empty.
struct DirNode {
  DirNode* next;
  const char* path;
};
using DirList = DirNode*;

extern DirList includeDirs;  // -I
extern DirList libraryDirs;  // -L, for #import

// Splits `text` at ';' and puts each directory in front of `list`.
void addDirs(DirList& list, const char* text);

// Puts a list into the order of its switches, once all are read.
void reverseDirs(DirList& list);

// Handler of #include, and the second half of #import. May change the input stack.
void includeDirective(Byte c);

// Reads the name of an #include or #import, `c` being its first character.
// Returns a working copy, which the search may change, with the opening
// character in `delimiter`; the name as written stands at the start of
// tokenText. Null after a report. May change the input stack.
char* readIncludeName(Byte c, Byte& delimiter);

// The steps of a search; each gives the result of pushSourceFile for the first
// candidate that is not refused.
PushResult tryBesideIncluders(const char* name);
PushResult tryDirList(const DirNode* list, const char* name);

// Cuts the base name to 8 characters and the extension to 4 with its dot.
void truncateTo83(char* name);

// Defines __USING_STD_NAMES__ as 1, or undefines it.
void setStdNames(bool defined);
