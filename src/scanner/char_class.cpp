// The class tables, built from their rules.

#include "scanner/char_class.h"

#include "input/macro_text.h"

// Bytes that no token begins with, and those of every other handler but the
// letter 'L' and '#', which differ between the tables.
static constexpr ClassTable makePlainClasses() {
  ClassTable table{};
  table.fill(classIllegal);
  for (int c = 'A'; c <= 'Z'; ++c) table[size_t(c)] = classLetter;
  for (int c = 'a'; c <= 'z'; ++c) table[size_t(c)] = classLetter;
  for (int c = '0'; c <= '9'; ++c) table[size_t(c)] = classDigit;
  for (const Byte c : {Byte(' '), Byte('\t'), Byte('\v'), Byte('\f'), endOfBodyMark}) table[c] = classBlank;
  table['_'] = classLetter;
  table['('] = wholeToken | tokOpenParen;
  table[')'] = wholeToken | tokCloseParen;
  table['['] = wholeToken | tokOpenBracket;
  table[']'] = wholeToken | tokCloseBracket;
  table['{'] = wholeToken | tokOpenBrace;
  table['}'] = wholeToken | tokCloseBrace;
  table[';'] = wholeToken | tokSemicolon;
  table[','] = wholeToken | tokComma;
  table['?'] = wholeToken | tokQuestion;
  table['~'] = wholeToken | tokTilde;
  table['!'] = classExclaim;
  table['%'] = classPercent;
  table['&'] = classAmpersand;
  table['*'] = classStar;
  table['+'] = classPlus;
  table['/'] = classSlash;
  table['^'] = classCaret;
  table['|'] = classBar;
  table['='] = classEqual;
  table['"'] = classString;
  table['\''] = classCharConst;
  table['-'] = classMinus;
  table['.'] = classDot;
  table['<'] = classLess;
  table['>'] = classGreater;
  table['\n'] = classLineEnd;
  table['\r'] = classLineEnd;
  table['\\'] = classBackslash;
  table[endOfTextByte] = classEndOfText;
  table[':'] = classColon;
  table[0] = classNul;
  return table;
}

static constexpr ClassTable makeTokenClasses() {
  ClassTable table = makePlainClasses();
  table['L'] = classWidePrefix;
  table['#'] = classHash;
  return table;
}

// What the two copying tables share: names, numbers and line ends are the
// scanner's, all else is copied.
static constexpr ClassTable makeCopyingClasses() {
  const ClassTable tokens = makeTokenClasses();
  ClassTable table{};
  for (size_t c = 0; c < table.size(); ++c) {
    const Byte entry = tokens[c];
    const bool kept =
        entry == classDigit || entry == classLetter || entry == classWidePrefix || entry == classLineEnd;
    table[c] = kept ? entry : Byte(classCopy);
  }
  table['/'] = classCopySlash;
  return table;
}

static constexpr ClassTable makeBodyClasses() {
  ClassTable table = makeCopyingClasses();
  for (const Byte c : {Byte(' '), Byte('\t'), Byte('\v'), Byte('\f')}) table[c] = classBodyBlank;
  table['"'] = classBodyLiteral;
  table['\''] = classBodyLiteral;
  table['#'] = classBodyHash;
  table['\\'] = classBodySplice;
  table[endOfTextByte] = classEndOfText;
  return table;
}

// The Ctrl-Z after an argument's text ends the copy, as the token ','.
static constexpr ClassTable makeCopyClasses() {
  ClassTable table = makeCopyingClasses();
  table['"'] = classCopyLiteral;
  table['\''] = classCopyLiteral;
  table[endOfTextByte] = wholeToken | tokComma;
  table[endOfBodyMark] = classBlank;
  return table;
}

constexpr ClassTable charClass = makePlainClasses();
constexpr ClassTable tokenClass = makeTokenClasses();
constexpr ClassTable bodyClass = makeBodyClasses();
constexpr ClassTable copyClass = makeCopyClasses();

static_assert(tokenClass['('] == (wholeToken | tokOpenParen) && tokenClass['~'] == (wholeToken | tokTilde) &&
              tokenClass['?'] == (wholeToken | tokQuestion));
static_assert(tokenClass['L'] == classWidePrefix && charClass['L'] == classLetter);
static_assert(tokenClass['$'] == classIllegal && tokenClass[endOfBodyMark] == classBlank &&
              tokenClass[noExpandCode] == classIllegal);
static_assert(bodyClass[endOfBodyMark] == classCopy && copyClass[' '] == classCopy &&
              copyClass[endOfTextByte] == (wholeToken | tokComma));

constexpr Byte operatorAlone[operatorFamilySize] = {tokExclaim, tokPercent, tokAmpersand, tokStar,  tokPlus,
                                                    tokSlash,   tokCaret,   tokBar,       tokAssign};
constexpr Byte operatorWithEqual[operatorFamilySize] = {tokNotEqual,  tokModAssign, tokAndAssign,
                                                        tokMulAssign, tokAddAssign, tokDivAssign,
                                                        tokXorAssign, tokOrAssign,  tokEqual};
constexpr Byte operatorDoubled[operatorFamilySize] = {0, 0, tokAndAnd, 0,       tokPlusPlus,
                                                      0, 0, tokOrOr,   tokEqual};
