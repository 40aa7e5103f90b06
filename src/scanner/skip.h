// What no token is made of: blanks, comments, splices, and the rests of
// directive lines.

#pragma once

#include "base.h"
#include "options/option_image.h"

// Passes blanks, comments and splices of the current line; returns the first
// byte that is none, consumed. May change the input stack.
Byte skipSpace();

// The same, with `c` as the first byte to look at; 0 begins at the next one. `keep`
// says that the blanks go to the output.
Byte skipSpaceFrom(Byte c, bool keep = keepComments());

// Skip a comment whose opening two bytes have been read.
void scanBlockComment();
void scanLineComment();

// A '/' has been read: passes the comment that it begins. False, with nothing
// more consumed, if it begins none.
bool passComment();

// Reads the backslash that has just been taken further: true if a line end
// follows, which is then counted; else nothing is consumed.
bool passSplice();

// Skips to the line end, reporting nothing; `c` has been read. The line end stays
// unread; a Ctrl-Z is consumed.
void skipLine(Byte c);

// The same, but in strict mode the first character that is no blank and no
// comment is reported.
void checkLineEnd(Byte c);
