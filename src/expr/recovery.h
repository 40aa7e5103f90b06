// What the evaluator does behind an error in a line.

#pragma once

#include "base.h"
#include "diag/messages.h"

// Reports an error at the current token and skips the rest of the line.
VSP_COLD void syntaxError(MessageId id);

// Fetches tokens up to the end of the line, or of the text.
VSP_COLD void skipRestOfLine();
