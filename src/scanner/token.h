// Tokens: their codes, and the record that delivers one.

#pragma once

#include <type_traits>

#include "base.h"

struct IdentEntry;

// A token's code is also its row in tokenSpelling.
enum TokenCode : int32_t {
#define TOKEN(name, spelling) name,
#include "scanner/tokens.def"
#undef TOKEN
};

constexpr int tokenCodeCount = tokNone + 1;

// What the token pass writes for a token that has no text of its own. The entry
// of tokTry follows the mode of the unit.
extern const char* tokenSpelling[tokenCodeCount];
extern Byte tokenSpellingLength[tokenCodeCount];

// Type tags of constants: numbers of basic types.
enum TypeTag : Byte {
  tagChar = 1,
  tagSignedChar = 2,
  tagUnsignedChar = 3,
  tagWchar = 4,
  tagShort = 5,
  tagUnsignedShort = 6,
  tagInt = 7,
  tagUnsignedInt = 8,
  tagLong = 9,
  tagUnsignedLong = 10,
  tagInt64 = 11,
  tagUnsignedInt64 = 12,
  tagFloat = 13,
  tagDouble = 14,
  tagLongDouble = 15
};

// Value of tokCharConst and tokIntConst.
struct IntTokenValue {
  uint32_t value;
  Byte typeTag;
  Byte width;  // in bits, 0 for no width suffix
};

// Value of tokLongConst.
struct LongTokenValue {
  uint64_t value;
  Byte typeTag;
  Byte width;
};

// Value of tokFloatConst: the 80-bit value as its ten bytes, to keep the record
// small; floatOfBytes and bytesOfFloat convert.
struct FloatTokenValue {
  Byte bytes[10];
  Byte typeTag;
};

// The current token. Copied whole, by assignment: six words on hosts of either
// pointer size. A floating value is kept as its ten bytes, without the padding that
// a compiler stores it with.
struct TokenState {
  TokenCode code;  // tokNone before the first token, and where there is no token
  int32_t line;    // currentLine where the token starts
  union alignas(8) {
    IdentEntry* entry;  // tokIdent and keywords
    IntTokenValue integer;
    LongTokenValue longInteger;
    FloatTokenValue floating;
  };
};

static_assert(std::is_trivially_copyable_v<TokenState>);
static_assert(sizeof(TokenState) == 24 && offsetof(TokenState, integer) == 8);

extern TokenState tokenState;  // the current token
