// Character classes: what a byte means to the scanner.
//
// An entry above 0 is a token code: the byte is a whole token by itself. An entry
// of 0 or less is a CharClass, whose handler runs. The nine operator classes run
// from 0 down, and serve, taken positive, as the index of the operator tables.
//
// One of three tables drives the scanner: tokenClass while tokens are made, and
// bodyClass or copyClass while it copies text into tokenText. charClass is for
// plain tests by value.

#pragma once

#include <array>

#include "base.h"

using ClassTable = std::array<signed char, 256>;

enum CharClass : signed char {
  classExclaim = 0,
  classPercent = -1,
  classAmpersand = -2,
  classStar = -3,
  classPlus = -4,
  classSlash = -5,
  classCaret = -6,
  classBar = -7,
  classEqual = -8,
  classBlank = -9,
  classLetter = -10,
  classDigit = -11,
  classString = -12,
  classHash = -13,
  classCharConst = -14,
  classMinus = -15,
  classDot = -16,
  classLess = -17,
  classIllegal = -18,
  classGreater = -19,
  classLineEnd = -20,
  classBackslash = -22,
  classEndOfText = -24,
  classCopy = -25,         // copied as it stands
  classCopyLiteral = -26,  // copyClass: an unterminated literal is reported
  classBodySplice = -27,   // bodyClass: a backslash
  classBodyHash = -28,     // bodyClass: '#' and "##"
  classCopySlash = -29,    // a comment or the byte itself
  classBodyLiteral = -30,  // bodyClass: an unterminated literal ends the body
  classBodyBlank = -32,    // bodyClass: runs of blanks become one
  classColon = -33,
  classWidePrefix = -34,  // 'L'
  classNul = -35
};

extern const ClassTable tokenClass;
extern const ClassTable charClass;
extern const ClassTable bodyClass;
extern const ClassTable copyClass;

// The table in force.
extern const ClassTable* activeClass;

// Token codes of the operator family, by the class taken positive.
constexpr int operatorFamilySize = 9;
extern const Byte operatorAlone[operatorFamilySize];
extern const Byte operatorWithEqual[operatorFamilySize];
extern const Byte operatorDoubled[operatorFamilySize];  // 0: the doubled form is no token

inline bool isNameStart(Byte c) {
  return charClass[c] == classLetter;
}
