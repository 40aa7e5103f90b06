// The encoding of macro text, which its makers and its reader share.
//
// A macro record is a byte that tells its parameters, the encoded body, a NUL,
// and in strict mode the parameters' names. A body is plain text with the bytes
// below in it; it ends in endOfBodyMark. A record begins at a multiple of eight bytes
// and can be read up to the next one after its end. Argument texts use the same bytes.

#pragma once

#include "base.h"

// The first byte of a record without a parameter list; of any other it is the number
// of parameters.
constexpr Byte objectLike = 0xFF;

// Bytes of a body.
constexpr Byte firstParameter = 0x80;  // 0x80 + p: parameter p, counted from 0
constexpr Byte lastParameter = 0xFA;
constexpr Byte endOfBodyMark = 0xFB;  // delivered as a blank that ends any token
constexpr Byte noExpandCode = 0xFC;   // the identifier that follows stands
constexpr Byte stringizeMark = 0xFD;  // '#'; a parameter follows
constexpr Byte pasteMark = 0xFE;      // "##"
constexpr Byte escapeMark = 0xFF;     // the next byte is an ordinary one

constexpr int parameterLimit = lastParameter - firstParameter + 1;
static_assert(parameterLimit == 123);

inline bool isParameter(Byte c) {
  return c >= firstParameter && c <= lastParameter;
}
