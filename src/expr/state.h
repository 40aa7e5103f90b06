// What the evaluator keeps during a unit: one record, which one assignment resets,
// whatever a fatal error has left in it.

#pragma once

#include "expr/types.h"
#include "memory/memory.h"

struct EvaluatorState {
  Arena nodes;                           // of expression trees and declarators
  TypeNode* basicTypes[basicTypeCount];  // by kind
  int readingDepth;        // lines being read: a directive can stand inside a macro call of another's line
  Byte declQualifiers;     // Qualifier bits of the declaration being read, at the level reached
  uint16_t declspecFlags;  // FunctionFlag bits of the last __declspec list, for all declarators after it
};

extern EvaluatorState evaluator;
