// The state of the scanner besides its token and its text buffer.
//
// Readers of lines change how the scanner reads while they are at work, and put it
// back: lineMode and activeClass. The rest is what is known of the last token.

#pragma once

#include "base.h"
#include "names/names.h"
#include "scanner/char_class.h"

struct ScannerState {
  // The table in force.
  const ClassTable* activeClass = &tokenClass;

  // A line end is delivered as tokEndOfLine; set while a directive reads its line.
  bool lineMode = false;

  // The prefix L of the last string and of the last character constant. They keep
  // their values between tokens.
  bool wideString = false;
  bool wideChar = false;

  // The last name that was read is no macro, or was marked: it stands wherever it is
  // read again.
  bool plainIdent = false;

  // The last character of the string being read; ' ' in place of one after a backslash,
  // -1 at the end.
  int lastStringChar = 0;

  // The name of the last tokIdent, as it stands at the end of tokenText. Tokens name it
  // by its entry; text that is copied takes the bytes.
  Name scannedName = {};
};

extern ScannerState scanner;
