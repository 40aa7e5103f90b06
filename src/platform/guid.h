// The text form of a GUID.

#pragma once

#include "base.h"

// Parses a braced GUID of 38 16-bit characters ending in a NUL, in either case,
// into 16 bytes (the first three fields little-endian). Returns 0 on success.
int parseGuid(const uint16_t* text, Byte result[16]);
