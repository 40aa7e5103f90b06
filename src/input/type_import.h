// #import: hands a type library to the outside component that reads it, and
// includes the header which that generates.

#pragma once

#include "base.h"

// Set while the library is searched: pushSourceFile then only tests for the
// file, and the reader of the name stops behind it.
extern bool importMode;

// True if `name` can be opened; its path is then kept for the component.
bool testImportFile(const char* name);

// Handler of #import. May change the input stack.
void importDirective(Byte c);
