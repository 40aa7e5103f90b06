// The typed evaluator of #if and #elif, as the other folders see it.

#pragma once

#include "base.h"

// How evaluateConstant is called.
enum EvaluateMode : int {
  evaluateBound = 1,     // inside a declarator; the first token is current
  evaluateDirective = 5  // a directive's line
};

// Reads and folds an expression. True when a value, perhaps a substitute after
// an error, stands in `result`; false when the line was not a well-formed
// expression, with 0 in `result`. In directive mode the token behind the line,
// tokEndOfLine, has consumed the line end. May change the input stack.
bool evaluateConstant(int32_t& result, EvaluateMode mode);

// The kind of type of the expression that evaluateConstant folded last.
extern int16_t lastConstantKind;

// Sets the expression arena, the type table and the state of the declaration
// reader up for a unit, whatever a fatal error has left behind.
void beginExpressions();

// Releases the arena.
void endExpressions();

// The types that only C++ has; the start of the token pass.
void setupCppTypes();

// Empties the free list of declarators without touching its nodes; the start of
// the token pass. The second gives its nodes back; the end of the pass.
void resetDeclarators();
void releaseDeclarators();
