// Line synchronisation, #line, #error and #pragma.
//
// Every line end of every file, in skipped text too, comes through advanceLine,
// whose common case stands in a header: the marker of a line is kept as text,
// and when the next line is the next number of the same file, only its digits
// change. syncLine does the rest.

#include "directive/lines.h"

#include <charconv>
#include <cstring>

#include "diag/report.h"
#include "input/frame.h"
#include "input/multibyte.h"
#include "macro/define.h"
#include "macro/predefined.h"
#include "memory/memory.h"
#include "options/option_image.h"
#include "platform/paths.h"
#include "scanner/char_class.h"
#include "scanner/literals.h"
#include "scanner/scan.h"

// Called from here, defined later:
#include "driver/output.h"

constinit bool lineStart = true;

constexpr size_t syncNameSize = 260;

// The file of the last #line written, as far as it fits.
static constinit char lastSyncName[syncNameSize] = {};

constinit LineMarker lineMarker{};

constexpr size_t markerNameLimit = sizeof lineMarker.text - 32;

void resetLineMarkers() {
  lastSyncName[0] = 0;
  lineMarker.fileName = nullptr;
}

static void emitNumber(int32_t value) {
  char digits[16] = {};
  const char* const end = std::to_chars(digits, digits + sizeof digits, value).ptr;
  for (const char* digit = digits; digit != end; ++digit) emitChar(Byte(*digit));
}

// Builds the marker of the present line anew. False if it cannot be kept.
VSP_COLD static bool buildMarker() {
  const size_t nameLength = std::strlen(currentFileName);
  // A number below 0 or at the end of its range does not go on digit by digit.
  if (nameLength > markerNameLimit || currentLine < 0 || currentLine == INT32_MAX) return false;
  char* target = reinterpret_cast<char*>(lineMarker.text);
  std::memcpy(target, "\r\n/* ", 5);
  target += 5;
  std::memcpy(target, currentFileName, nameLength);
  target += nameLength;
  *target++ = ' ';
  target = std::to_chars(target, target + 16, currentLine).ptr;
  lineMarker.lastDigit = uint32_t(reinterpret_cast<Byte*>(target) - lineMarker.text - 1);
  std::memcpy(target, ": */", 4);
  lineMarker.length = lineMarker.lastDigit + 5;
  lineMarker.fileName = currentFileName;
  lineMarker.line = currentLine;
  return true;
}

// The comment form of the marker, where the kept text does not serve.
VSP_COLD static void emitMarkerSlow() {
  emitRun(asBytes("/* "), 3);
  emitRun(asBytes(currentFileName), std::strlen(currentFileName));
  emitChar(' ');
  emitNumber(currentLine);
  emitRun(asBytes(": */"), 4);
}

// The #line form, written when the file has changed.
static void emitLineDirective() {
  if (std::strncmp(currentFileName, lastSyncName, syncNameSize - 1) == 0) return;
  std::strncpy(lastSyncName, currentFileName, syncNameSize - 1);
  emitRun(asBytes("#line "), 6);
  emitNumber(currentLine);
  emitRun(asBytes(" \""), 2);
  emitRun(asBytes(currentFileName), std::strlen(currentFileName));
  emitRun(asBytes("\"\r\n"), 3);
}

void syncLine() {
  const bool readable = (optionImage.outputFlags & readableFlag) != 0;
  const bool first = lineStart;
  lineStart = false;
  if (readable) {
    if (!first && output.lastChar != '\n') {
      emitChar('\r');
      emitChar('\n');
    }
    output.pendingBlanks = 0;
    return;
  }
  if (optionImage.lineInfo != 0) {
    if (buildMarker()) {
      const uint32_t skip = first ? 2 : 0;
      emitRun(lineMarker.text + skip, lineMarker.length - skip);
    } else {
      if (!first) emitRun(asBytes("\r\n"), 2);
      emitMarkerSlow();
    }
    return;
  }
  if (!first) emitRun(asBytes("\r\n"), 2);
  emitLineDirective();
}

// --- #line ---

// Decodes the name between the quotes as a character constant's escapes are, by
// reading it like input with a closing quote behind it. Returns the decoded name,
// behind the line's text.
static const char* decodeName(const Byte* name, size_t length) {
  Byte* const decoded = tokenText + (name - tokenText) + length + 1;
  tokenTextPtr = decoded;
  char* const text = static_cast<char*>(memAlloc(uint32_t(length + 2)));
  std::memcpy(text, name, length);
  std::memcpy(text + length, "'", 2);
  pushTextFrame(asBytes(text), length + 1);
  InputFrame* const frame = inputTop;
  wideChar = false;
  while (inputTop == frame && inputCursor + 1 < inputLimit) {
    if (*inputCursor == '\'') {
      bufPutChar(nextChar());
      continue;
    }
    const int c = readLiteralChar('\'');
    if (c < 0) break;
    if (c > 0xFF) bufPutChar(Byte(c >> 8));
    bufPutChar(Byte(c));
  }
  if (inputTop == frame) popFrame();
  *tokenTextPtr = 0;
  return asChars(decoded);
}

// Makes `name` the present file's name, unless it is the same but for case.
static void setFileName(const char* name) {
  if (sameFileName(name, currentFileName)) return;
  currentFileName = memCopy(name, std::strlen(name));
  currentFileIndex = fileIndexOf(currentFileName);
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
  wideString = false;
  tokenTextPtr = tokenText;
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
  tokenTextPtr = tokenText;
  if (!formed) {
    reportError(msgBadFileNameFormat, "line");
    return;
  }
  currentLine = int32_t(number - 1);
  messageLine = currentLine;
}

// --- #error and #pragma ---

void errorDirective(Byte c) {
  tokenTextPtr = tokenText;
  *tokenTextPtr = 0;
  for (;; c = nextChar()) {
    if (isLineEnd(c) || c == endOfTextByte) {
      ungetChar();
      break;
    }
    if (c == '\\' && passSplice()) continue;
    bufPutChar(c);
    if (isLeadByte(c)) {
      const Byte trail = nextChar();
      if (isLineEnd(trail) || trail == endOfTextByte)
        ungetChar();
      else
        bufPutChar(trail);
    }
  }
  emitText("#error ");
  emitText(asChars(tokenText));
  tokenTextPtr = tokenText;
}

void pragmaDirective(Byte) {
  output.pendingBlanks = 0;
  emitText("#pragma ");
  ungetChar();
}
