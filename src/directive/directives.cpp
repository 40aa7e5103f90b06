// The directive table and the dispatch.
//
// The name is collected into tokenText, bounded by it; a longer one is cut and
// matches nothing.

#include "directive/directives.h"

#include <cstring>

#include "diag/position.h"
#include "diag/report.h"
#include "directive/conditions.h"
#include "directive/imports.h"
#include "directive/includes.h"
#include "directive/lines.h"
#include "input/frame.h"
#include "macro/define.h"
#include "names/names.h"
#include "scanner/literals.h"
#include "scanner/skip.h"
#include "scanner/token_text.h"
#include "scanner/upcalls.h"

constinit DirectiveId directiveId = directiveNone;

struct DirectiveRow {
  DirectiveId id;
  Byte length;
  const char* name;
  void (*handler)(Byte c);
};

static constexpr DirectiveRow directiveRows[] = {
#define DIRECTIVE(id, name, handler) {id, sizeof name - 1, name, handler},
#include "directive/directives.def"
#undef DIRECTIVE
};

// The row of the name in tokenText, null if it is none.
static const DirectiveRow* findDirective(size_t length) {
  for (const DirectiveRow& row : directiveRows)
    if (row.length == length && std::memcmp(row.name, tokenText.bytes, length) == 0) return &row;
  return nullptr;
}

constexpr size_t longestName = 16;  // that is worth reading in one run

// Collects the name that begins with `c`, already read. Returns the byte after it.
static Byte collectName(Byte c) {
  tokenText.clear();
  // The byte at the limit belongs to no name.
  const Byte* const start = input.cursor;
  const Byte* cursor = start;
  while (isNameByte(*cursor)) ++cursor;
  const size_t rest = size_t(cursor - start);
  if (fastPaths && isNameByte(c) && cursor < input.limit && rest < longestName) {
    tokenText.append(c);
    std::memcpy(tokenText.end, start, rest);
    tokenText.keep(rest);
    input.cursor = cursor + 1;
    return *cursor;
  }
  while (isNameByte(c)) {
    tokenText.append(c);
    c = nextChar();
  }
  return c;
}

void processDirective(bool firstInFile, bool run) {
  Byte c = skipSpace();
  if (isLineEnd(c) || c == endOfTextByte) {
    if (isLineEnd(c))
      ungetChar();
    else
      endCurrentFile();
    directiveId = directiveNone;
    return;
  }
  messageLine = currentLine;
  c = skipSpaceFrom(collectName(c));
  const DirectiveRow* const row = findDirective(tokenText.length());
  if (row == nullptr) {
    if (run) reportError(msgUnknownDirective, tokenText.bytes);
    tokenText.rewind();
    skipLine(c);
    directiveId = directiveNone;
    return;
  }
  tokenText.rewind();
  directiveId = row->id;
  if (!run) {
    ungetChar();
    return;
  }
  if (firstInFile && row->id == directiveIfndef)
    firstIfndefInFile(c);
  else if (firstInFile && row->id == directiveIf)
    firstIfInFile();
  else
    row->handler(c);
}

void runDirective() {
  processDirective(false, true);
}
