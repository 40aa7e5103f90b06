// The vocabulary of every folder: the byte type, the marks for hot and cold
// code, and the assumptions about the host that the code is written against.
//
// Source text is Byte everywhere, never plain char: class tables are indexed by
// it, and a plain char of 0x80 or more would read before them. Plain char
// is for names handed to the system and for literals of the program itself.

#pragma once

#include <cfloat>
#include <climits>
#include <cstddef>
#include <cstdint>

using Byte = unsigned char;

using std::int16_t;
using std::int32_t;
using std::int64_t;
using std::int8_t;
using std::size_t;
using std::uint16_t;
using std::uint32_t;
using std::uint64_t;

// A routine that runs rarely: kept out of line, away from the hot code.
#define VSP_COLD [[gnu::cold, gnu::noinline]]

// A loop that most of a run is spent in: laid out and optimised as such.
#define VSP_HOT [[gnu::hot, gnu::noinline]]

// A fast path that must be part of its caller.
#define VSP_INLINE [[gnu::always_inline]] inline

// Whether the fast paths are there. Each is a shortcut for the common case and has
// an ordinary way that serves every case; a build without them must give the same
// bytes, messages and status, which the tests compare.
#ifdef VSP_ORDINARY_WAYS
constexpr bool fastPaths = false;
#else
constexpr bool fastPaths = true;
#endif

static_assert(sizeof(int) == 4 && (sizeof(void*) == 8 || sizeof(void*) == 4),
              "written for 32-bit int, and for pointers of 32 or 64 bits");
static_assert(LDBL_MANT_DIG == 64 && LDBL_MAX_EXP == 16384,
              "floating constants are folded in the 80-bit extended format of the x87");

// Bytes with a meaning of their own wherever text is read.
constexpr Byte endOfTextByte = 0x1A;  // Ctrl-Z ends any text

constexpr bool isLineEnd(Byte c) {
  return c == '\n' || c == '\r';
}
constexpr bool isDigit(Byte c) {
  return c >= '0' && c <= '9';
}
// An ASCII letter in lower case; any other byte becomes no letter.
constexpr Byte lowerLetter(Byte c) {
  return c | 0x20;
}
// True for the bytes that a name or a number may hold.
constexpr bool isWordByte(Byte c) {
  return isDigit(c) || (lowerLetter(c) >= 'a' && lowerLetter(c) <= 'z') || c == '_';
}
// The value of a hexadecimal digit, or -1.
constexpr int hexValue(Byte c) {
  if (isDigit(c)) return c - '0';
  const int letter = lowerLetter(c) - 'a';
  return letter >= 0 && letter < 6 ? letter + 10 : -1;
}

// Text of the program's own literals as bytes, and the reverse for messages.
inline const Byte* asBytes(const char* text) {
  return reinterpret_cast<const Byte*>(text);
}
inline const char* asChars(const Byte* text) {
  return reinterpret_cast<const char*>(text);
}
