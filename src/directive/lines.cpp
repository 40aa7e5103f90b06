// #line, #error and #pragma.

#include "directive/lines.h"

#include <cstring>

#include "diag/report.h"
#include "input/frame.h"
#include "options/lead_bytes.h"
#include "macro/define.h"
#include "memory/memory.h"
#include "options/option_image.h"
#include "output/line_markers.h"
#include "output/output.h"
#include "platform/paths.h"
#include "scanner/literals.h"
#include "scanner/skip.h"
#include "scanner/state.h"
#include "scanner/token_text.h"

// --- #line ---

// Decodes the name between the quotes as a character constant's escapes are, by
// reading it like input with a closing quote after it. Returns the decoded name,
// after the line's text.
static const char* decodeName(const Byte* name, size_t length) {
  Byte* const decoded = tokenText.bytes + (name - tokenText.bytes) + length + 1;
  tokenText.end = decoded;
  char* const text = static_cast<char*>(memAlloc(uint32_t(length + 2)));
  std::memcpy(text, name, length);
  std::memcpy(text + length, "'", 2);
  pushTextFrame(asBytes(text), length + 1);
  InputFrame* const frame = input.top;
  const bool outerWide = scanner.wideChar;
  scanner.wideChar = false;
  while (input.top == frame && input.cursor + 1 < input.limit) {
    if (*input.cursor == '\'') {
      tokenText.append(nextChar());
      continue;
    }
    const int c = readLiteralChar('\'');
    if (c < 0) break;
    if (c > 0xFF) tokenText.append(Byte(c >> 8));
    tokenText.append(Byte(c));
  }
  if (input.top == frame) popFrame();
  scanner.wideChar = outerWide;
  *tokenText.end = 0;
  return asChars(decoded);
}

// Makes `name` the current file's name, unless it is the same but for case.
static void setFileName(const char* name) {
  if (sameFileName(name, currentFileName)) return;
  currentFileName = memCopy(name, std::strlen(name));
}

// Reads the name of a #line from its opening quote. False if it has a wrong form.
static bool readLineName(Byte* text) {
  const size_t length = std::strlen(asChars(text));
  if (text[0] != '"' || length < 2 || text[length - 1] != '"') return false;
  text[length - 1] = 0;
  dropEscapes(text + 1);
  const char* name = asChars(text + 1);
  if (optionImage.languageLevel == levelAnsi) name = decodeName(text + 1, std::strlen(name));
  setFileName(name);
  return true;
}

void lineDirective(Byte) {
  ungetChar();
  scanner.wideString = false;
  tokenText.rewind();
  readBodyTokens(nullptr, true);
  Byte* text = trimBody().start;
  if (!isDigit(*text)) {
    reportError(msgBadDirectiveSyntax, "line");
    return;
  }
  uint32_t number = 0;
  for (; isDigit(*text); ++text) number = number * 10 + uint32_t(*text - '0');
  while (*text == ' ' || *text == '\t') ++text;
  const bool formed = *text == 0 || readLineName(text);
  tokenText.rewind();
  if (!formed) {
    reportError(msgBadFileNameFormat, "line");
    return;
  }
  if (writesGnuMarkers()) restartGnuCount();
  currentLine = int32_t(number - 1);
  messageLine = currentLine;
}

// --- #error and #pragma ---

void errorDirective(Byte c) {
  tokenText.clear();
  for (;; c = nextChar()) {
    if (isLineEnd(c) || c == endOfTextByte) {
      ungetChar();
      break;
    }
    if (c == '\\' && passSplice()) continue;
    tokenText.append(c);
    if (isLeadByte(c)) {
      const Byte trail = nextChar();
      if (isLineEnd(trail) || trail == endOfTextByte)
        ungetChar();
      else
        tokenText.append(trail);
    }
  }
  emitText("#error ");
  emitText(asChars(tokenText.bytes));
  tokenText.rewind();
}

void pragmaDirective(Byte) {
  output.pendingBlanks = 0;
  emitText("#pragma ");
  ungetChar();
}
