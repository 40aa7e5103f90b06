// Conditional groups: #if and the other directives of its family, the stack of open groups, the skipping of
// false ones, and the ends of directive lines.

#pragma once

#include "base.h"

// Handlers of the directives; `c` is the first significant character after the
// name. May change the input stack.
void ifDirective(Byte c);
void ifdefDirective(Byte c);
void ifndefDirective(Byte c);
void elseDirective(Byte c);
void elifDirective(Byte c);
void endifDirective(Byte c);

// #ifndef and #if as the first directive of an included file.
void firstIfndefInFile(Byte c);
void firstIfInFile();
