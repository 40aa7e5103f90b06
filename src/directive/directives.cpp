// The directive table and the dispatch.
//
// The name is collected into tokenText, bounded by it; a longer one is cut and
// matches nothing.

#include "directive/directives.h"

#include <cstring>

#include "diag/report.h"
#include "directive/conditions.h"
#include "directive/lines.h"
#include "input/frame.h"
#include "input/include_search.h"
#include "input/type_import.h"
#include "macro/define.h"
#include "scanner/char_class.h"
#include "scanner/identifiers.h"
#include "scanner/literals.h"
#include "scanner/scan.h"

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
    if (row.length == length && std::memcmp(row.name, tokenText, length) == 0) return &row;
  return nullptr;
}

constexpr size_t longestName = 16;  // that is worth reading in one run

// Collects the name that begins with `c`, in hand. Returns the byte behind it.
static Byte collectName(Byte c) {
  tokenTextPtr = tokenText;
  *tokenTextPtr = 0;
  // The byte at the limit belongs to no name.
  const Byte* const start = inputCursor;
  const Byte* cursor = start;
  while (hashStep[*cursor] != 0) ++cursor;
  const size_t rest = size_t(cursor - start);
  if (fastPaths && hashStep[c] != 0 && cursor < inputLimit && rest < longestName) {
    *tokenTextPtr++ = c;
    std::memcpy(tokenTextPtr, start, rest);
    tokenTextPtr += rest;
    *tokenTextPtr = 0;
    inputCursor = cursor + 1;
    return *cursor;
  }
  while (hashStep[c] != 0) {
    bufPutChar(c);
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
  const DirectiveRow* const row = findDirective(size_t(tokenTextPtr - tokenText));
  if (row == nullptr) {
    if (run) reportError(msgUnknownDirective, tokenText);
    tokenTextPtr = tokenText;
    skipLine(c);
    directiveId = directiveNone;
    return;
  }
  tokenTextPtr = tokenText;
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
