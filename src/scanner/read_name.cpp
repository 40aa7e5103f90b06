// Names where the fast path has none: longer than counts, split by splices, or
// at the end of a block.

#include "scanner/read_name.h"

#include "input/frame.h"
#include "scanner/token.h"
#include "scanner/token_text.h"

Name readNameSlowly(Byte c, Byte* target, uint32_t room) {
  uint32_t length = 0;
  for (;;) {
    while (isNameByte(c)) {
      if (length < room) target[length++] = c;
      c = nextChar();
    }
    if (c != '\\') break;
    const Byte* const after = input.cursor;
    const Byte d = nextChar();
    if (!isLineEnd(d)) {
      ungetTwo('\\', after);
      target[length] = 0;
      return makeName(target, length);
    }
    countNewline(d);
    c = nextChar();
  }
  ungetChar();
  target[length] = 0;
  return makeName(target, length);
}

Name scanIdentifier(Byte c) {
  // A mark that is met while the name's end is looked for changes nothing.
  const bool mark = input.noExpandMark;
  const size_t space = tokenText.room();
  const Name name = readName(c, tokenText.end, space < identLimit ? uint32_t(space) : identLimit);
  input.noExpandMark = mark;
  return name;
}
