// The text form of a GUID: "{12345678-1234-1234-1234-123456789ABC}".
//
// The first three fields are numbers and stored with the low byte first; the
// other two are bytes in the order of the text. So a table that tells which
// byte the next pair of digits belongs to is all there is to it.

#include "platform/guid.h"

constexpr int guidTextLength = 38;

// Byte of the result for each pair of digits, in the order of the text.
constexpr Byte guidOrder[16] = {3, 2, 1, 0, 5, 4, 7, 6, 8, 9, 10, 11, 12, 13, 14, 15};

static int wideHexValue(uint16_t c) {
  return c < 0x80 ? hexValue(Byte(c)) : -1;
}

int parseGuid(const uint16_t* text, Byte result[16]) {
  Byte bytes[16];
  int pair = 0;
  for (int i = 0; i < guidTextLength; ++i) {
    const uint16_t c = text[i];
    // A text that is too short stops here: its NUL is none of the characters that may stand anywhere.
    if (i == 0 || i == guidTextLength - 1) {
      if (c != (i == 0 ? '{' : '}')) return 1;
    } else if (i == 9 || i == 14 || i == 19 || i == 24) {
      if (c != '-') return 1;
    } else {
      const int high = wideHexValue(c);
      if (high < 0) return 1;
      const int low = wideHexValue(text[++i]);
      if (low < 0) return 1;
      bytes[guidOrder[pair++]] = Byte(high << 4 | low);
    }
  }
  if (text[guidTextLength] != 0) return 1;
  for (int i = 0; i < 16; ++i) result[i] = bytes[i];
  return 0;
}
