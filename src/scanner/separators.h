// The two rules by which a blank keeps tokens apart in the output.

#pragma once

#include <array>
#include <initializer_list>

#include "base.h"
#include "scanner/token.h"

inline constexpr std::array<bool, 256> wordBytes = [] {
  std::array<bool, 256> table{};
  for (size_t c = 0; c < table.size(); ++c) table[c] = isWordByte(Byte(c));
  return table;
}();

// True for the tokens whose spelling begins with a word byte; for a class of
// tokens its name counts, so that a string after a name is set apart too.
inline constexpr std::array<bool, tokenCodeCount> wordTokens = {
#define TOKEN(name, spelling) isWordByte(Byte(spelling[0])),
#include "scanner/tokens.def"
#undef TOKEN
};
static_assert(wordTokens[tokString] && wordTokens[tokIntConst] && !wordTokens[tokEndOfFile]);

// True for numbers, which no word after them is kept apart from.
constexpr bool isNumber(int code) {
  return code == tokIntConst || code == tokLongConst || code == tokFloatConst;
}

constexpr int pairTokens = 64;  // tokens with a lower code may stand in the pairs below
static_assert(tokIdent <= pairTokens, "all punctuators do");

// For each token, the set of tokens that need a blank in front when they follow it.
struct SeparatorTable {
  uint64_t followers[pairTokens];
};

inline constexpr SeparatorTable separators = [] {
  SeparatorTable table{};
  const auto add = [&](int previous, std::initializer_list<int> followers) {
    for (const int code : followers) table.followers[previous] |= uint64_t{1} << code;
  };
  for (const int code : {tokAssign, tokPlus, tokMinus, tokStar, tokSlash, tokPercent, tokAmpersand, tokBar,
                         tokCaret, tokShl, tokShr, tokLess, tokGreater, tokExclaim})
    add(code, {tokAssign, tokEqual});
  add(tokPlus, {tokPlus, tokAddAssign, tokPlusPlus});
  add(tokMinus, {tokMinus, tokSubAssign, tokMinusMinus, tokGreater, tokGreaterEqual, tokShr, tokShrAssign,
                 tokArrow, tokArrowStar});
  add(tokAmpersand, {tokAmpersand, tokAndAssign, tokAndAnd});
  add(tokBar, {tokBar, tokOrAssign, tokOrOr});
  add(tokLess, {tokLess, tokLessEqual, tokShl, tokShlAssign});
  add(tokGreater, {tokGreater, tokGreaterEqual, tokShr, tokShrAssign});
  add(tokDot, {tokEllipsis, tokStar, tokMulAssign});
  add(tokArrow, {tokStar, tokMulAssign});
  add(tokColon, {tokColon, tokColonColon});
  return table;
}();

inline constexpr int countPairs() {
  int count = 0;
  for (uint64_t set : separators.followers)
    for (; set != 0; set &= set - 1) ++count;
  return count;
}
static_assert(countPairs() == 61);

// True if a blank must stand between the two tokens.
VSP_INLINE bool needsSeparator(int previous, int code) {
  return code < pairTokens && previous < pairTokens && ((separators.followers[previous] >> code) & 1) != 0;
}
