// The fast path of the token pass: text in which nothing happens.

#pragma once

#include "base.h"

// True if this unit's switches let plain text be passed in runs. Asked once, when
// the output is open.
bool mayPassPlainText();

// Writes tokens and blanks straight from the input buffer to the output buffer,
// up to the first place that needs the scanner: a macro, a directive, a comment that does not end on its
// line, an unusual literal, the end of either buffer. `previous` is the code of the token written last; the
// result is the same for the caller.
int passPlainText(int previous);
