// What the evaluator keeps during a unit: one record, which one assignment resets,
// whatever a fatal error has left in it.

#pragma once

#include "expr/types.h"
#include "memory/memory.h"

struct DeclaratorNode;

struct EvaluatorState {
  Arena nodes;                           // of the expression trees
  TypeNode* basicTypes[basicTypeCount];  // by kind
  int readingDepth;  // expressions being read: a bound and a directive in a macro call are inner ones
  TypeKind lastConstantKind;  // of the expression that evaluateConstant folded last
  Byte declQualifiers;        // Qualifier bits of the declaration being read, at the level reached
  uint16_t declspecFlags;     // FunctionFlag bits of the last __declspec list, for all declarators after it
  DeclaratorNode* freeDeclarators;  // nodes to use again
};

extern EvaluatorState evaluator;
