// Double-byte characters.

#include "input/multibyte.h"

#include <cstring>

#include "diag/report.h"
#include "input/frame.h"
#include "options/option_image.h"
#include "platform/code_page.h"
#include "platform/locale.h"
#include "platform/paths.h"

constinit Byte leadByteTable[256] = {};
constinit bool anyLeadBytes = false;

// The code page that needs no conversion of wide characters.
constexpr uint32_t codePageOem = 437;

void buildLeadByteTable() {
  if (optionImage.codePage == 0) optionImage.codePage = systemCodePage();
  anyLeadBytes = false;
  for (int b = 0; b < 256; ++b) {
    leadByteTable[b] = isLeadByteOf(optionImage.codePage, Byte(b)) ? 1 : 0;
    if (leadByteTable[b] != 0) anyLeadBytes = true;
  }
  pathLeadBytes = anyLeadBytes ? leadByteTable : nullptr;
}

uint32_t wideCharOf(uint32_t value, uint32_t& size) {
  if (optionImage.codePage == codePageOem) return value;
  Byte bytes[4];
  int count = 0;
  for (int shift = 24; shift >= 0; shift -= 8) {
    const Byte b = Byte(value >> shift);
    if (count != 0 || b != 0) bytes[count++] = b;
  }
  constexpr int wideLimit = 5;
  uint16_t wide[wideLimit] = {};
  int made;
  do {
    made = toWideChars(optionImage.codePage, bytes, count, wide, wideLimit);
  } while (made == convertNoDescriptor && suspendFile());
  if (made == convertNoMemory) failOutOfMemory();
  size = made >= 2 ? 4 : 2;
  if (made >= 2) return (uint32_t(wide[0]) << 16) | wide[1];
  return made == 1 ? wide[0] : 0;
}
