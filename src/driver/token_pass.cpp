// The token pass.
//
// The scanner has expanded all macros by the time a token arrives, and has written
// the blanks, line ends and markers before it. So the pass writes each token
// after them, with a blank between two that would read as one. A directive comes
// as a token too, and is run here.

#include "driver/token_pass.h"

#include "diag/position.h"
#include "driver/open_output.h"
#include "driver/plain_text.h"
#include "input/frame.h"
#include "names/names.h"
#include "options/lead_bytes.h"
#include "options/option_image.h"
#include "output/line_markers.h"
#include "output/output.h"
#include "scanner/byte_search.h"
#include "scanner/literals.h"
#include "scanner/scan.h"
#include "scanner/separators.h"
#include "scanner/state.h"
#include "scanner/token.h"
#include "scanner/token_text.h"
#include "scanner/upcalls.h"

// --- Strings and asm blocks ---

// Writes the bytes up to the next one that means something in a string.
static void emitPlainRun() {
  const Byte* const start = input.cursor;
  const Byte* const end = findStringStop(start, input.limit);
  if (end == start) return;
  emitRun(start, size_t(end - start));
  scanner.lastStringChar = scanner.lastStringChar == '\\' && end - start == 1 ? ' ' : end[-1];
  input.cursor = end;
}

// Writes a character of a string, both bytes of a double-byte one.
static void emitWide(int c) {
  if (c > 0xFF) emitChar(Byte(c >> 8));
  emitChar(Byte(c));
}

// Passes the line end after a backslash just read, if there is one: tools that expect preprocessed text join
// no lines. False, with nothing read, if there is none.
static bool dropSplice() {
  if (input.pendingText != nullptr) return false;
  const Byte c = nextChar();
  if (!isLineEnd(c)) {
    ungetChar();
    return false;
  }
  passPairedLineEnd(c);
  noteJoinedLine();
  scanner.lastStringChar = ' ';
  return true;
}

static void writeString() {
  if (scanner.wideString) emitChar('L');
  emitChar('"');
  for (;;) {
    if (fastPaths && input.pendingText == nullptr && !anyLeadBytes) emitPlainRun();
    const int c = nextStringChar();
    if (c == -1 || c == endOfTextByte) break;
    if (c == '\\' && writesGnuMarkers() && dropSplice()) continue;
    if (c == '"' && input.pendingText != nullptr) emitChar('\\');
    emitWide(c);
  }
  emitChar('"');
  scanner.wideString = false;
}

static bool isWhiteSpace(int c) {
  return c == ' ' || c == '\t' || c == '\v' || c == '\f' || c == '\r' || c == '\n';
}

// A line end in an asm block. `c` becomes the character to write, if any is. The
// block's line ends bypass the count of lines in the output.
static void readAsmLineEnd(int& c) {
  const Byte d = nextChar();
  if ((c == '\r' && d == '\n') || (c == '\n' && d == '\r')) {
    emitChar(Byte(c));
    c = d;
  } else {
    ungetChar();
  }
  currentLine = int32_t(uint32_t(currentLine) + 1);
}

// Copies what stands after the keyword as text: a braced block, or one line.
static void writeAsm() {
  emitText("asm");
  bool leading = true;
  bool inBraces = false;
  for (;;) {
    int c = nextStringChar();
    if (c == -1 || c == endOfTextByte) return;
    if (c == '\r' || c == '\n') {
      readAsmLineEnd(c);
      if (!leading && !inBraces) return;
      emitChar(Byte(c));
      continue;
    }
    emitWide(c);
    if (c == '{' || c == '}') {
      if (inBraces) return;
      if (c == '{' && leading) inBraces = true;
    }
    if (!isWhiteSpace(c) && c != '}') leading = false;
  }
}

// --- The pass ---

// Writes the text of a number or character constant, which ends at the first NUL.
VSP_INLINE void emitTokenText() {
  size_t length = 0;
  while (tokenText.bytes[length] != 0) ++length;
  emitText(tokenText.bytes, length);
}

static void writeToken(int previous, int code) {
  switch (code) {
    case tokIdent: {
      const IdentEntry* const entry = tokenState.entry;
      emitText(entry->spelling(), entry->nameLength);
      break;
    }
    case tokCharConst:
    case tokIntConst:
    case tokLongConst:
      if (scanner.wideChar) {
        emitChar('L');
        scanner.wideChar = false;
      }
      emitTokenText();
      break;
    case tokFloatConst: emitTokenText(); break;
    case tokString: writeString(); break;
    case tokAsm: writeAsm(); break;
    default:
      if (needsSeparator(previous, code)) emitChar(' ');
      emitText(asBytes(tokenSpelling[code]), tokenSpellingLength[code]);
      break;
  }
}

// Prepares the pass and fetches the first token.
static TokenCode startTokenPass() {
  ensureOutputOpen();
  const TokenCode first = getToken();
  tokenSpelling[tokTry] = cplusplusMode ? "try" : "__try";
  tokenSpellingLength[tokTry] = cplusplusMode ? 3 : 5;
  return first;
}

void tokenPass() {
  int code = startTokenPass();
  const bool plainText = mayPassPlainText();
  int previous = tokNone;
  for (; code != tokEndOfFile; code = getToken()) {
    if (code == tokDirective) {
      runDirective();
      continue;
    }
    if (wordTokens[size_t(code)] && wordBytes[output.lastChar] && !isNumber(previous)) emitChar(' ');
    writeToken(previous, code);
    previous = plainText ? passPlainText(code) : code;
  }
}
