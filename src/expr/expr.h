// The typed evaluator of #if and #elif, as the other folders see it.

#pragma once

#include "base.h"

// How evaluateConstant is called.
enum EvaluateMode {
  evaluateBound,     // inside a declarator; the first token is current
  evaluateDirective  // a directive's line
};

// Reads and folds an expression. True when a value, perhaps a substitute after
// an error, stands in `result`; false when the line was not a well-formed
// expression, with 0 in `result`. In directive mode the token after the line,
// tokEndOfLine, has consumed the line end. May change the input stack.
bool evaluateConstant(int32_t& result, EvaluateMode mode);

// Resets the state of the evaluator, whatever a fatal error has left in it; the
// start of a unit.
void beginExpressions();

// Releases the memory of the expression trees.
void endExpressions();

// The types that only C++ has; the start of the token pass.
void setupCppTypes();

// Empties the free list of declarators without touching its nodes; the start of
// the token pass. The second gives its nodes back; the end of the pass.
void resetDeclarators();
void releaseDeclarators();
