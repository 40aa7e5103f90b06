// #import: hands a type library to the outside component that reads it, and
// includes the header which that generates.

#pragma once

#include "base.h"
#include "input/frame.h"

// Set while the library is searched: pushSourceFile then only tests for the
// file, and the reader of the name stops behind it.
extern bool importMode;

// What pushSourceFile does while a library is searched: a name that can be opened
// counts as pushed, and its path is kept for the component.
PushResult testImportFile(const char* name);

// Handler of #import. May change the input stack.
void importDirective(Byte c);
