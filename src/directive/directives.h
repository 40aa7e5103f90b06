// Dispatch of directives: the name after a '#', and the handler that it runs.

#pragma once

#include "base.h"

// Which directive was read last.
enum DirectiveId : int {
  directiveNone,  // an empty directive, an unknown one, the end of the text
#define DIRECTIVE(id, name, handler) id,
#include "directive/directives.def"
#undef DIRECTIVE
};

extern DirectiveId directiveId;

// Reads the directive whose '#' has just been read. With `run` its handler runs,
// and leaves the line end unread; without, only directiveId is set, the cursor
// being at the first significant character after the name. `firstInFile` says
// that it is the first directive of an included file, which may be the file's
// guard. May change the input stack.
void processDirective(bool firstInFile, bool run);
