// Numbers: their text, and their value.

#pragma once

#include "base.h"
#include "scanner/token.h"

// Reads the number that begins with `c` (a digit, or '.' with the digit still
// unread) to the end of tokenText, which is moved after it. Returns the
// radix, 0 for a floating number. May change the input stack.
int scanNumber(Byte c);

// Converts the text at the start of tokenText and makes the next text begin there.
// Returns tokIntConst, tokLongConst or tokFloatConst.
TokenCode convertNumber(int radix);
