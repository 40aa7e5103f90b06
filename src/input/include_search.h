// The search for included files and for the libraries of #import.

#pragma once

#include "base.h"
#include "input/frame.h"
#include "platform/paths.h"

// Looks for the file of an #include and pushes it. `name` is changed by the
// search. The result is that of pushSourceFile for the first candidate that was
// not refused.
PushResult searchInclude(char* name, bool quoted);

// True while that looks for the file of a <...> name.
extern bool searchesAngled;

// Looks for a type library. With `pushed`, which pushes nothing here, its path
// stands in importPath.
PushResult searchLibrary(char* name, bool quoted);
extern char importPath[pathLimit + 1];

// Defines __USING_STD_NAMES__ as 1, or undefines it.
void setStdNames(bool defined);
