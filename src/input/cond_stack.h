// The open conditional groups of the current file. They go with the file: each
// has a stack of its own, and what is open at a file's end is dropped there.

#pragma once

#include "base.h"

// An open group whose text is being read. Groups inside skipped text have none.
struct ConditionRecord {
  ConditionRecord* next;  // the older record
  int32_t startLine;      // currentLine when the record was pushed
  const char* guardName;  // spelling of the candidate guard macro, null if none
  int32_t guardLine;      // messageLine of the directive that opened the candidate
  Byte state;             // ConditionState
};

enum ConditionState : Byte {
  conditionOpen = 1,  // #else and #elif are still allowed
  conditionElse = 2   // the #else group is being read
};

// Opens a group at the current line.
ConditionRecord* pushCondition(ConditionState state);

// Closes the newest group, if there is one.
void popCondition();

// Closes all groups of the current file.
void dropConditions();
