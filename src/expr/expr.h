// The typed evaluator of #if and #elif, as the other folders see it.

#pragma once

#include "base.h"

// Reads the expression of a directive's line, up to tokEndOfLine, which has consumed
// the line end. True if the condition holds: its value, perhaps a substitute after
// an error, is not 0. A line that is no well-formed expression does not hold. May
// change the input stack.
bool evaluateCondition();

// Resets the state of the evaluator, whatever a fatal error has left in it; the
// start of a unit.
void beginExpressions();

// Releases the memory of the expression trees.
void endExpressions();
