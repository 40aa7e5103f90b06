// #include: the name in its three forms, and the start of the file that it names.

#include "directive/includes.h"

#include <cstring>
#include <span>

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

// The room that a search needs for the name: the longest path with its NUL, and an
// extension that it adds.
constexpr size_t workingNameSize = pathLimit + 16;

// The working copy of the name: at the end of the buffer, away from the copy for
// messages.
static char* workingName() {
  return reinterpret_cast<char*>(tokenText.bytes + tokenTextSize - workingNameSize);
}

// --- The name ---

// With -idl a ',' after a name announces another: an #include of it is put in
// front of what follows.
static void readAfterName() {
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
    readAfterName();
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

// The collected name without the blanks around it.
static std::span<const Byte> trimmedName() {
  const Byte* start = tokenText.bytes;
  const Byte* end = tokenText.end;
  while (start < end && (*start == ' ' || *start == '\t')) ++start;
  while (end > start && (end[-1] == ' ' || end[-1] == '\t')) --end;
  return {start, end};
}

// Makes the working copy of a name, and puts the name to the start of tokenText for
// messages.
static char* makeWorkingCopy(std::span<const Byte> name) {
  char* const working = workingName();
  std::memmove(working, name.data(), name.size());
  working[name.size()] = 0;
  std::memcpy(tokenText.bytes, working, name.size() + 1);
  return working;
}

char* readIncludeName(Byte c, IncludeDirective directive, Byte& delimiter) {
  tokenText.clear();
  if (c == '<' || c == '"')
    copyLiteralName(c, directive);
  else
    expandName();

  const std::span<const Byte> name = trimmedName();
  tokenText.rewind();
  if (name.empty() || (name.front() != '"' && name.front() != '<')) {
    reportError(msgBadFileNameFormat, directive == isImport ? "import" : "include");
    return nullptr;
  }
  delimiter = name.front();
  if (name.size() < 2 || name.back() != (delimiter == '<' ? '>' : '"')) {
    reportError(msgNoFileNameEnding);
    return nullptr;
  }
  if (name.size() - 2 > pathLimit) {
    reportError(msgFileNameTooLong);
    return nullptr;
  }
  return makeWorkingCopy(name.subspan(1, name.size() - 2));
}

// --- The directive ---

// Reads the empty and comment-only lines at the start of the file just pushed,
// up to its first token; a directive there may be the file's guard.
static void readFileStart() {
  for (;;) {
    // Tools that count lines from a marker on are not to count one more.
    if (!writesGnuMarkers()) emitRun(asBytes("\r\n"), 2);
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
      if (input.includeDepth >= 2) readFileStart();
      break;
  }
}
