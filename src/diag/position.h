// Where the reading is: the position that tokens and messages name. Whoever passes a
// line end moves it; docs/internals.md lists them.

#pragma once

#include "base.h"

extern const char* currentFileName;  // as pushed, or as #line set it; null outside a unit
extern int32_t currentLine;          // of the character read last
extern int32_t messageLine;          // the line that messages name, 0 for none
extern uint32_t totalLines;          // all line ends of all files of the unit

// Nowhere: no file and no line; the start and the end of a unit.
void resetPosition();
