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

// True for a run of name bytes that is an ordinary integer as a whole: decimal, or
// hexadecimal without a suffix. A point after it would belong to it too.
VSP_INLINE bool isPlainInteger(const Byte* text, const Byte* end) {
  if (*end == '.' || end - text > integerLimit) return false;
  if (*text == '0' && end - text > 1) {
    if ((text[1] | 0x20) != 'x') return false;
    for (text += 2; text != end && (isDigit(*text) || Byte((*text | 0x20) - 'a') < 6); ++text) {
    }
  } else {
    while (text != end && isDigit(*text)) ++text;
  }
  return text == end;
}
