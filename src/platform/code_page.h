// Double-byte character sets and the conversion to 16-bit characters.

#pragma once

#include "base.h"

// True if `byte` begins a double-byte character in `codePage`.
bool isLeadByteOf(uint32_t codePage, Byte byte);

// Results of a conversion for which the host lacks something.
enum ConversionFailure : int {
  convertNoDescriptor = -1,  // to be tried again when the caller has closed a file
  convertNoMemory = -2
};

// Converts `count` bytes of `codePage` text to at most `limit` 16-bit
// characters. Returns how many were stored, 0 if the text cannot be converted, or
// a ConversionFailure.
int toWideChars(uint32_t codePage, const Byte* text, int count, uint16_t* result, int limit);
