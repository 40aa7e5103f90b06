// The texts of the message catalogue by their numbers, as the system keeps them:
// the program's own, or those of a language library that lies in its directory.

#pragma once

#include "base.h"

// A text of the program's own.
struct StringRow {
  uint16_t id;
  const char* text;
};

// Tells the program's own texts, `count` rows in the order of their numbers, which
// must stay where they are. A system that keeps such texts in the program file has
// them already. To be called before any other function of this header.
void setOwnStrings(const StringRow* rows, int count);

// Puts the library `path` in force, in place of the one before. False, with
// nothing changed, if there is no such file or if it is none.
bool openStringLibrary(const char* path);

// Puts the program's own texts in force.
void closeStringLibrary();

// The text of `id` into `buffer` of `size` bytes, cut to fit, with a NUL after
// it; empty if there is none. Returns its length.
size_t loadString(int id, char* buffer, size_t size);

// The full path of the program up to and including the dot after which the names
// of languages stand, into `buffer` of `size` bytes. Returns its length; 0 if it
// cannot be had, does not fit or has no place for a language.
size_t languageStem(char* buffer, size_t size);

// Turns a text into the character set of the console, in place.
void toConsoleCharset(char* text);
