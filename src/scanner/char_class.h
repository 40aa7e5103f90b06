// Character classes: what a byte means to the scanner.
//
// The scanner makes one table lookup for each byte that may begin a token. Most
// entries name a class, whose handler runs; where the byte is a whole token by
// itself, the entry holds the code of that token.
//
// One of three tables is in force, scanner.activeClass. tokenClass makes tokens. bodyClass and copyClass
// drive the same loop while it copies text into tokenText, the body of a macro and
// the text of an argument or a directive's line: names and numbers are read as
// ever, everything else is copied or normalised. charClass is for plain tests by
// value.

#pragma once

#include <array>

#include "base.h"
#include "scanner/token.h"

enum CharClass : Byte {
  // The operators that may be doubled or followed by '='; they index the tables of
  // their tokens.
  classExclaim,
  classPercent,
  classAmpersand,
  classStar,
  classPlus,
  classSlash,
  classCaret,
  classBar,
  classEqual,
  // The beginnings of other tokens.
  classMinus,
  classDot,
  classLess,
  classGreater,
  classColon,
  classHash,
  classLetter,
  classWidePrefix,  // 'L'
  classDigit,
  classString,
  classCharConst,
  // What stands between tokens, and what is none.
  classBlank,
  classLineEnd,
  classBackslash,
  classEndOfText,
  classNul,
  classIllegal,
  // Text that is copied.
  classCopy,         // as it stands
  classCopySlash,    // a comment, or the byte itself
  classCopyLiteral,  // copyClass: an unterminated literal is reported
  classBodyLiteral,  // bodyClass: an unterminated literal ends the body
  classBodyBlank,    // bodyClass: runs of blanks become one
  classBodyHash,     // bodyClass: '#' and "##"
  classBodySplice,   // bodyClass: a backslash
  classCount
};

// An entry from here on is this value and the code of a token.
constexpr Byte wholeToken = 0x80;
static_assert(classCount <= wholeToken && tokTilde < wholeToken);

using ClassTable = std::array<Byte, 256>;

extern const ClassTable tokenClass;
extern const ClassTable charClass;
extern const ClassTable bodyClass;
extern const ClassTable copyClass;

// The tokens of the operators, by their class.
constexpr int operatorFamilySize = classEqual + 1;
extern const Byte operatorAlone[operatorFamilySize];
extern const Byte operatorWithEqual[operatorFamilySize];
extern const Byte operatorDoubled[operatorFamilySize];  // 0: the doubled form is no token

inline bool isNameStart(Byte c) {
  return charClass[c] == classLetter;
}
