// Character constants and strings.

#pragma once

#include "base.h"
#include "scanner/token.h"

// Reads a character constant whose opening quote has been read. Its text, with
// the quotes, is left in tokenText. Returns tokCharConst or tokIntConst.
TokenCode scanCharConstant();

// The next character of a literal from the input, escapes decoded if `quote` is
// '\''; -1 at the closing quote. A double-byte character is (first << 8) | second.
int readLiteralChar(Byte quote);

// The next character of the current string, from pendingText or the input; -1 at
// its end. Escapes are not decoded.
int readStringChar();

// readStringChar, but a quote after a backslash does not end the string.
int nextStringChar();

// Copies a literal whose opening quote has been read, through `append`. An
// unterminated one is reported and closed if `report` is set; its line end is
// left unread. True if it was closed.
using AppendByte = void (*)(Byte c);
bool copyLiteral(bool report, AppendByte append, Byte quote);

// Appends a byte of a literal to tokenText, escaped where appendEscaped does it,
// except the end mark of bodies.
void appendLiteralByte(Byte c);

// The ten bytes of an 80-bit value, and back.
void bytesOfFloat(long double value, Byte bytes[10]);
long double floatOfBytes(const Byte bytes[10]);
