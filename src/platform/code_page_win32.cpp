// Double-byte character sets, and the way from bytes to 16-bit characters, by the
// system's tables.

#include "platform/code_page.h"

#include <windows.h>

static_assert(sizeof(WCHAR) == sizeof(uint16_t));

bool isLeadByteOf(uint32_t codePage, Byte byte) {
  return IsDBCSLeadByteEx(codePage, byte) != 0;
}

int toWideChars(uint32_t codePage, const Byte* text, int count, uint16_t* result, int limit) {
  if (count <= 0 || limit <= 0) return 0;
  return MultiByteToWideChar(codePage, 0, asChars(text), count, reinterpret_cast<WCHAR*>(result), limit);
}
