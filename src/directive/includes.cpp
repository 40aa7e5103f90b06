// #include: the name in its three forms, and the start of the file that it names.

#include "directive/includes.h"

#include <cstring>

#include "diag/position.h"
#include "diag/report.h"
#include "directive/directives.h"
#include "input/frame.h"
#include "input/include_search.h"
#include "input/macro_frames.h"
#include "macro/define.h"
#include "options/option_image.h"
#include "output/output.h"
#include "platform/paths.h"
#include "scanner/literals.h"
#include "scanner/skip.h"
#include "scanner/token.h"
#include "scanner/token_text.h"

// The working copy of the name stands here, away from the copy for messages.
static char* workingName() {
  return reinterpret_cast<char*>(tokenText.bytes + tokenTextSize - (pathLimit + 16));
}

// --- The name ---

// With -idl a ',' behind a name announces another: an #include of it is put in
// front of what follows.
static void readBehindName() {
  const Byte c = skipSpaceFrom(0);
  if (c != ',') {
    checkLineEnd(c);
    return;
  }
  static const Byte nextInclude[] = {0, '\r', '\n', '#', 'i', 'n', 'c', 'l', 'u', 'd', 'e', ' ', 0};
  pushMacroText(nullptr, nextInclude + 1, nullptr);
  --currentLine;
  --messageLine;
}

// Copies the name between its quotes or brackets, with them, from `c` on. What
// does not fit is dropped, and the closing character with it.
static void copyLiteralName(Byte c, IncludeDirective directive) {
  const Byte closing = c == '<' ? '>' : '"';
  tokenText.append(c);
  bool closed = false;
  for (;;) {
    c = nextChar();
    if (isLineEnd(c) || c == endOfTextByte) break;
    tokenText.append(c);
    if (c == closing) {
      closed = true;
      break;
    }
  }
  if (directive == isImport) {
    if (!closed) ungetChar();
    return;
  }
  if ((optionImage.outputFlags & idlFlag) != 0) {
    if (!closed) ungetChar();
    readBehindName();
  } else {
    checkLineEnd(closed ? Byte(' ') : c);
  }
}

// Collects the rest of the line with its macros expanded, as plain bytes.
static void expandName() {
  ungetChar();
  readBodyTokens(nullptr, true);
  tokenText.end = dropEscapes(tokenText.bytes);
}

char* readIncludeName(Byte c, IncludeDirective directive, Byte& delimiter) {
  tokenText.clear();
  if (c == '<' || c == '"')
    copyLiteralName(c, directive);
  else
    expandName();

  const Byte* start = tokenText.bytes;
  const Byte* end = tokenText.end;
  tokenText.rewind();
  while (start < end && (*start == ' ' || *start == '\t')) ++start;
  while (end > start && (end[-1] == ' ' || end[-1] == '\t')) --end;
  if (start == end || (*start != '"' && *start != '<')) {
    reportError(msgBadFileNameFormat, directive == isImport ? "import" : "include");
    return nullptr;
  }
  delimiter = *start;
  const Byte closing = delimiter == '<' ? '>' : '"';
  if (end - start < 2 || end[-1] != closing) {
    reportError(msgNoFileNameEnding);
    return nullptr;
  }
  const size_t length = size_t(end - start) - 2;
  if (length > pathLimit) {
    reportError(msgFileNameTooLong);
    return nullptr;
  }
  char* const working = workingName();
  std::memmove(working, start + 1, length);
  working[length] = 0;
  std::memcpy(tokenText.bytes, working, length + 1);
  return working;
}

// --- The directive ---

// Reads the empty and comment-only lines at the start of the file just pushed,
// up to its first token; a directive there may be the file's guard.
static void enterFile() {
  for (;;) {
    emitChar('\r');
    emitChar('\n');
    const Byte c = skipSpaceFrom(0);
    if (c == '#') {
      processDirective(true, true);
      return;
    }
    if (!isLineEnd(c)) {
      ungetChar();
      return;
    }
    countNewline(c);
  }
}

void includeDirective(Byte c) {
  Byte delimiter;
  char* const name = readIncludeName(c, isInclude, delimiter);
  if (name == nullptr) return;
  switch (searchInclude(name, delimiter == '"')) {
    case notFound:
    case unreadable: reportError(msgCannotOpenInclude, tokenText.bytes); break;
    case skipped: break;
    case pushed:
      if (includeDepth >= 2) enterFile();
      break;
  }
}
