// The token scanner.
//
// One dispatch on one table lookup per byte turns the characters of the input
// stack into tokens. While it looks for a token it writes the blanks that it
// passes to the output, drops comments and splices, runs every directive that
// begins a line, and starts every macro call. With another class table in force
// the same routine copies text into tokenText: macro bodies, arguments,
// directive lines.

#pragma once

#include "base.h"
#include "scanner/token.h"

// Selects tokenClass and an empty token; the start of a unit.
void startScanner();

// The next token. May change the input stack.
TokenCode scanToken();

// Passes blanks, comments and splices of the present line; returns the first
// byte that is none, consumed. May change the input stack.
Byte skipSpace();

// The same, with `c` as the first byte to look at; 0 begins at the next one.
Byte skipSpaceFrom(Byte c);

// The same for readers outside the scanner.
inline Byte nextSignificantChar(Byte c) {
  return skipSpaceFrom(c);
}

// Skip a comment whose opening two bytes have been read.
void scanBlockComment();
void scanLineComment();

// A '/' has been read: passes the comment that it begins. False, with nothing
// more consumed, if it begins none.
bool passComment();

// Reports a byte, or double-byte character, that no token begins with; its first
// byte is `c`, already read.
VSP_COLD void reportIllegalCharacter(Byte c);

// Appends one space to the text at tokenTextPtr, unless one stands there.
void appendBlank();

// Appends a byte at tokenTextPtr, as 0xFF and the byte if bit 7 is set or it is 0.
void appendCopied(Byte c);

// Reads the backslash that has just been taken further: true if a line end
// follows, which is then counted; else nothing is consumed.
bool passSplice();
