// Macro calls that lie in memory as a whole, expanded from text to text.
//
// The ordinary way reads a call byte by byte from the input stack, collects each argument,
// reads it again to expand it, and pushes a frame for the body and one for each
// parameter. Most calls need none of that: from the name to the ')' they stand in the input
// buffer, and hold nothing but names, integers, literals, blanks and punctuators. Their
// arguments are taken where they stand, and the body is written with them into one
// text, the flat text, which has no control bytes but the mark at its end.
//
// A flat text is what the scanner would have read, byte for byte, so whoever passes plain
// text can pass it too, with the calls that it holds. Whatever is not plain makes a routine
// here give up. That is always possible: until the whole call has been passed nothing outside has
// changed that anybody reads, no message, no counter, no entry of the table of names.

#pragma once

#include "base.h"

struct IdentEntry;

// A flat text: `end` is the place of its endOfBodyMark. Up to flatReadAhead bytes after
// it can be read.
struct FlatText {
  const Byte* start;
  const Byte* end;
  bool settled;   // no name in it is more than plain text
  bool seamless;  // a settled one that is written as it stands: no blank is missing in it
  bool pasted;    // of a body with a paste: macros in it are for the ordinary way
  bool calls;     // calls are to be expected in it
};

// Forgets what a unit that ended early has left; the start of a unit.
void resetFlatTexts();

constexpr ptrdiff_t flatReadAhead = 96;

// True if calls may be made flat at this place of a source file's text.
bool mayFlattenCalls();

// Makes the flat text of a call of `entry`, which is a macro; `text` is the byte after the
// name. The call must end well before `limit`, or, in a flat text, before its mark. Returns the byte after
// it, and hides the macro until endFlatText; or null, with nothing changed.
const Byte* flattenCall(IdentEntry* entry, const Byte* text, const Byte* limit, FlatText& flat);

// Ends the text made last, with which its macro is a macro again.
void endFlatText();
