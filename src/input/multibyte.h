// Double-byte characters of the unit's code page.

#pragma once

#include "base.h"

// Non-zero for a byte that begins a double-byte character.
extern Byte leadByteTable[256];

// True if the code page has any lead byte.
extern bool anyLeadBytes;

inline bool isLeadByte(Byte b) {
  return leadByteTable[b] != 0;
}

// Fills the table for the code page of -CP, or the system's, which is then
// stored in the option.
void buildLeadByteTable();

// The 16-bit characters of a value of up to four bytes, highest first: none gives
// 0, one itself, two or more (first << 16) | second. `size` receives 2 or 4, the
// bytes of the result; with code page 437 value and size stay as they are.
uint32_t wideCharOf(uint32_t value, uint32_t& size);
