// What the evaluator does after an error in a line: nothing more of it is read.

#pragma once

#include <cstddef>

#include "base.h"
#include "diag/messages.h"

// Reports an error at the current token and skips the rest of the line. Returns
// null, which is what a reader of trees returns then.
VSP_COLD std::nullptr_t syntaxError(MessageId id);

// Fetches tokens up to the end of the line, or of the text.
VSP_COLD void skipRestOfLine();
