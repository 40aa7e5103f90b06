// The token pass.
//
// The scanner has run all directives and expanded all macros by the time a token
// arrives, and has written the blanks, line ends and markers in front of it. So
// the pass writes each token behind them, with a blank between two that would
// read as one.

#include "driver/token_pass.h"

#include <array>
#include <cstring>

#include "diag/report.h"
#include "driver/output.h"
#include "expr/expr.h"
#include "input/frame.h"
#include "input/multibyte.h"
#include "input/type_import.h"
#include "memory/memory.h"
#include "options/option_image.h"
#include "scanner/byte_search.h"
#include "scanner/char_class.h"
#include "scanner/identifiers.h"
#include "scanner/literals.h"
#include "scanner/scan.h"

// True for the bytes that a name or number may hold.
static constexpr bool isWordByte(Byte c) {
  return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_';
}

static constexpr std::array<bool, 256> wordBytes = [] {
  std::array<bool, 256> table{};
  for (size_t c = 0; c < table.size(); ++c) table[c] = isWordByte(Byte(c));
  return table;
}();

// True for the tokens whose spelling begins with a word byte; for a class of
// tokens its name counts, so that a string after a name is set apart too.
static constexpr std::array<bool, tokenCodeCount> wordTokens = {
#define TOKEN(code, name, spelling) isWordByte(Byte(spelling[0])),
#include "scanner/tokens.def"
#undef TOKEN
};
static_assert(wordTokens[tokString] && wordTokens[tokIntConst] && !wordTokens[tokEndOfFile]);

constexpr int pairTokens = 64;  // tokens with a lower code may stand in the pairs below

// For each token, the set of tokens that need a blank in front when they follow it.
struct SeparatorTable {
  uint64_t followers[pairTokens];
};

static constexpr SeparatorTable separators = [] {
  SeparatorTable table{};
  const auto add = [&](int previous, std::initializer_list<int> followers) {
    for (const int code : followers) table.followers[previous] |= uint64_t{1} << code;
  };
  for (const int code : {tokAssign, tokPlus, tokMinus, tokStar, tokSlash, tokPercent, tokAmpersand, tokBar,
                         tokCaret, tokShl, tokShr, tokLess, tokGreater, tokExclaim})
    add(code, {tokAssign, tokEqual});
  add(tokPlus, {tokPlus, tokAddAssign, tokPlusPlus});
  add(tokMinus, {tokMinus, tokSubAssign, tokMinusMinus, tokGreater, tokGreaterEqual, tokShr, tokShrAssign,
                 tokArrow, tokArrowStar});
  add(tokAmpersand, {tokAmpersand, tokAndAssign, tokAndAnd});
  add(tokBar, {tokBar, tokOrAssign, tokOrOr});
  add(tokLess, {tokLess, tokLessEqual, tokShl, tokShlAssign});
  add(tokGreater, {tokGreater, tokGreaterEqual, tokShr, tokShrAssign});
  add(tokDot, {tokEllipsis, tokStar, tokMulAssign});
  add(tokArrow, {tokStar, tokMulAssign});
  add(tokColon, {tokColon});
  return table;
}();

static constexpr int countPairs() {
  int count = 1;  // ':' and "::", whose code lies beyond the sets
  for (uint64_t set : separators.followers)
    for (; set != 0; set &= set - 1) ++count;
  return count;
}
static_assert(countPairs() == 61);

// True if a blank must stand between the two tokens.
VSP_INLINE bool needsSeparator(int previous, int code) {
  if (code >= pairTokens) return code == tokColonColon && previous == tokColon;
  return previous < pairTokens && ((separators.followers[previous] >> code) & 1) != 0;
}

// --- Strings and asm blocks ---

// Writes the bytes up to the next one that means something in a string.
static void emitPlainRun() {
  const Byte* const start = inputCursor;
  const Byte* const end = findStringStop(start, inputLimit);
  if (end == start) return;
  emitRun(start, size_t(end - start));
  lastStringChar = lastStringChar == '\\' && end - start == 1 ? ' ' : end[-1];
  inputCursor = end;
}

// Writes a character of a string, both bytes of a double-byte one.
static void emitWide(int c) {
  if (c > 0xFF) emitChar(Byte(c >> 8));
  emitChar(Byte(c));
}

static void writeString() {
  if (wideString) emitChar('L');
  emitChar('"');
  for (;;) {
    if (pendingText == nullptr && !anyLeadBytes) emitPlainRun();
    const int c = nextStringChar();
    if (c == -1 || c == endOfTextByte) break;
    if (c == '"' && pendingText != nullptr) emitChar('\\');
    emitWide(c);
  }
  emitChar('"');
  wideString = false;
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

// Copies what stands behind the keyword as text: a braced block, or one line.
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
      if (wideChar) {
        emitChar('L');
        wideChar = false;
      }
      emitText(asChars(tokenText));
      break;
    case tokFloatConst:
      emitText(asChars(tokenText));
      break;
    case tokString:
      writeString();
      break;
    case tokAsm:
      writeAsm();
      break;
    default:
      if (needsSeparator(previous, code)) emitChar(' ');
      emitText(tokenSpelling[code]);
      break;
  }
}

static void startTokenPass() {
  resetDeclarators();
  ensureOutputOpen();
  getToken();
  savedTextPtr = nullptr;
  if (cplusplusMode) setupCppTypes();
  importMode = false;
  tokenSpelling[tokTry] = cplusplusMode ? "try" : "__try";
}

void tokenPass() {
  startTokenPass();
  int previous = tokNone;
  for (int code = tokenState.code; code != tokEndOfFile; code = getToken()) {
    const bool afterNumber = previous == tokIntConst || previous == tokLongConst || previous == tokFloatConst;
    if (wordTokens[size_t(code)] && wordBytes[output.lastChar] && !afterNumber) emitChar(' ');
    writeToken(previous, code);
    previous = code;
  }
  releaseDeclarators();
}
