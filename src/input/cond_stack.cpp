// The open groups.

#include "input/cond_stack.h"

#include <new>

#include "diag/position.h"
#include "input/frame.h"
#include "memory/memory.h"

ConditionRecord* pushCondition(ConditionState state) {
  ConditionRecord* const record = new (memAlloc(sizeof(ConditionRecord))) ConditionRecord;
  record->next = input.condStack;
  record->startLine = currentLine;
  record->guardName = nullptr;
  record->guardLine = 0;
  record->state = state;
  input.condStack = record;
  return record;
}

void popCondition() {
  ConditionRecord* const record = input.condStack;
  if (record == nullptr) return;
  input.condStack = record->next;
  memFree(record);
}

void dropConditions() {
  while (input.condStack != nullptr) popCondition();
}
