// Conditional groups: #if and its kin, the stack of open groups, the skipping of
// false ones, and the ends of directive lines.

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

// The open groups of the present file, newest first.
extern ConditionRecord* condStack;

// Handlers of the directives; `c` is the first significant character behind the
// name. May change the input stack.
void ifDirective(Byte c);
void ifdefDirective(Byte c);
void ifndefDirective(Byte c);
void elseDirective(Byte c);
void elifDirective(Byte c);
void endifDirective(Byte c);

// #ifndef and #if as the first directive of an included file.
void firstIfndefInFile(Byte c);
void firstIfInFile();

// Releases all records of the present file.
void dropConditions();

// Skips to the line end, reporting nothing; `c` is in hand. The line end stays
// unread; a Ctrl-Z is consumed.
void skipLine(Byte c);

// The same, but in strict mode the first character that is no blank and no
// comment is reported.
void checkLineEnd(Byte c);
