// The lead bytes of the source's code page: which bytes begin a double-byte
// character.

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
