// The readers of names.

#pragma once

#include "base.h"
#include "input/frame.h"
#include "names/names.h"
#include "output/output.h"

// Room that a name read by readName needs at most, with its NUL.
constexpr size_t nameBufferSize = nameLengthLimit + 1;

// The rest of readName: byte by byte, through splices and ends of blocks.
VSP_COLD Name readNameSlowly(Byte c, Byte* target, uint32_t room);

// Reads the name that begins with `c`, already read, to `target`, NUL-terminated.
// Of a longer name the first `room` bytes count. The byte after the name stays
// unread. May change the input stack.
VSP_INLINE Name readName(Byte c, Byte* target, uint32_t room) {
  if constexpr (!fastPaths) return readNameSlowly(c, target, room);
  // As a rule the byte read last is the one before the cursor; the byte at the limit belongs
  // to no name, so this loop needs no limit test.
  const Byte* const start = input.cursor - 1;
  const Byte* cursor = input.cursor;
  while (isNameByte(*cursor)) ++cursor;
  const size_t length = size_t(cursor - start);
  if (cursor >= input.limit || *cursor == '\\' || length > room || *start != c) [[unlikely]]
    return readNameSlowly(c, target, room);
  copyRun(target, start, length);
  target[length] = 0;
  input.cursor = cursor;
  return makeName(target, uint32_t(length));
}

// Reads the name that begins with `c`, already read, to the end of tokenText, which does not
// move, as far as there is room. May change the input stack.
Name scanIdentifier(Byte c);
