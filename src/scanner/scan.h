// The token scanner.
//
// One dispatch on one table lookup per byte turns the characters of the input
// stack into tokens. While it looks for a token it writes the blanks that it
// passes to the output, drops comments and splices, and starts every macro call.
// A '#' that begins a line is a token of its own, tokDirective. With another class
// table in force the same routine copies text into tokenText: macro bodies,
// arguments, directive lines.

#pragma once

#include "base.h"
#include "names/names.h"
#include "scanner/token.h"

// Selects tokenClass and an empty token; the start of a unit.
void startScanner();

// The next token. May change the input stack.
TokenCode getToken();

// Reports a byte, or double-byte character, that no token begins with; its first
// byte is `c`, already read.
VSP_COLD void reportIllegalCharacter(Byte c);
