// #include, and the names of files in directives.

#pragma once

#include "base.h"

// Handler of #include, and the second half of #import. May change the input stack.
void includeDirective(Byte c);

// Whose name is read.
enum IncludeDirective : Byte { isInclude, isImport };

// Reads the name of an #include or #import, `c` being its first character.
// Returns a working copy, which the search may change, with the opening
// character in `delimiter`; the name as written stands at the start of
// tokenText. Null after a report. The rest of an #import's line stays unread. May
// change the input stack.
char* readIncludeName(Byte c, IncludeDirective directive, Byte& delimiter);
