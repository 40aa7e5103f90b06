// The open groups.

#include "input/cond_stack.h"

#include <new>

#include "diag/position.h"
#include "memory/memory.h"

constinit ConditionRecord* condStack = nullptr;

ConditionRecord* pushCondition(ConditionState state) {
  ConditionRecord* const record = new (memAlloc(sizeof(ConditionRecord))) ConditionRecord;
  record->next = condStack;
  record->startLine = currentLine;
  record->guardName = nullptr;
  record->guardLine = 0;
  record->state = state;
  condStack = record;
  return record;
}

void popCondition() {
  ConditionRecord* const record = condStack;
  if (record == nullptr) return;
  condStack = record->next;
  memFree(record);
}

void dropConditions() {
  while (condStack != nullptr) popCondition();
}
