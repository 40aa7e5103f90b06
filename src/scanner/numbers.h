// Numbers: their text, and their value.

#pragma once

#include <cstddef>

#include "base.h"
#include "scanner/token.h"

// Reads the number that begins with `c` (a digit, or '.' with the digit still
// unread) to the end of tokenText, which is moved after it. Returns the
// radix, 0 for a floating number. May change the input stack.
int scanNumber(Byte c);

// Converts the text at the start of tokenText and makes the next text begin there.
// Returns tokIntConst, tokLongConst or tokFloatConst.
TokenCode convertNumber(int radix);

// The longest number that passes as plain text.
constexpr ptrdiff_t integerLimit = 16;

// True for a run of name bytes that is an ordinary integer as a whole: decimal, octal or
// hexadecimal, with 'u' or 'l' or both after it. A point after it would belong to it too.
VSP_INLINE bool isPlainInteger(const Byte* text, const Byte* end) {
  if (*end == '.' || end - text > integerLimit) return false;
  const Byte last = lowerLetter(end[-1]);
  if (last == 'u' || last == 'l') {
    --end;
    if (lowerLetter(end[-1]) == (last == 'u' ? 'l' : 'u')) --end;
  }
  if (*text != '0' || end - text == 1) {
    while (text != end && isDigit(*text)) ++text;
  } else if (lowerLetter(text[1]) == 'x') {
    for (text += 2; text != end && (isDigit(*text) || Byte(lowerLetter(*text) - 'a') < 6); ++text) {
    }
  } else {
    while (text != end && *text >= '0' && *text <= '7') ++text;
  }
  return text == end;
}
