// The scanner's loop and its handlers, one for each character class.
//
// The loop keeps cursor and limit in locals and stores the cursor before
// anything that may look at the input. A handler answers with a token code, or
// says how the loop goes on: with the next byte, or with a byte in hand.

#include "scanner/scan.h"

#include "diag/report.h"
#include "input/frame.h"
#include "input/multibyte.h"
#include "options/option_image.h"
#include "scanner/byte_search.h"
#include "scanner/char_class.h"
#include "scanner/identifiers.h"
#include "scanner/literals.h"
#include "scanner/numbers.h"

// Called from here, defined later:
#include "directive/directives.h"
#include "driver/output.h"
#include "macro/expand.h"
#include "macro/macro_text.h"

const char* tokenSpelling[tokenCodeCount] = {
#define TOKEN(code, name, spelling) spelling,
#include "scanner/tokens.def"
#undef TOKEN
};

constinit Byte tokenSpellingLength[tokenCodeCount] = {
#define TOKEN(code, name, spelling) sizeof spelling - 1,
#include "scanner/tokens.def"
#undef TOKEN
};

constinit TokenState tokenState{};
constinit TokenState heldToken{};
constinit TokenFetch getToken = scanToken;
constinit bool lineMode = false;
constinit bool wideString = false;
constinit bool wideChar = false;
constinit const Byte* pendingText = nullptr;
constinit Byte tokenText[tokenTextSize + 1] = {};
constinit Byte* tokenTextPtr = tokenText;

// What a handler answers when it delivers no token.
constexpr int goOn = -1;
static constexpr int goOnWith(Byte c) {
  return -2 - int(c);
}

void startScanner() {
  activeClass = &tokenClass;
  tokenTextPtr = tokenText;
  tokenText[0] = 0;
  tokenState = TokenState{};
  tokenState.code = tokNone;
  heldToken = tokenState;
  getToken = scanToken;
  lineMode = false;
  wideString = false;
  wideChar = false;
  pendingText = nullptr;
  lastStringChar = 0;
  currentIdent = nullptr;
  resetExpansion();
}

// Sets the position of the current token to that of the reading.
VSP_INLINE void recordTokenPosition() {
  tokenState.line = currentLine;
  tokenState.file = currentFileIndex;
}

VSP_INLINE TokenCode deliver(int code) {
  tokenState.code = code;
  return TokenCode(code);
}

void ungetToken() {
  heldToken = tokenState;
  getToken = takeHeldToken;
}

TokenCode takeHeldToken() {
  if (heldToken.code == tokNone) return scanToken();
  tokenState = heldToken;
  heldToken.code = tokNone;
  getToken = scanToken;
  return TokenCode(tokenState.code);
}

void appendCopied(Byte c) {
  const bool prefixed = c == 0 || c >= 0x80;
  const size_t room = size_t(tokenTextEnd() - tokenTextPtr);
  if (room == 0) return;
  if (prefixed) {
    if (room == 1) {
      // Half of the pair must not stand alone; the blank fills the buffer, which
      // is how the collector notices the loss.
      *tokenTextPtr++ = ' ';
      *tokenTextPtr = 0;
      return;
    }
    *tokenTextPtr++ = 0xFF;
  }
  *tokenTextPtr++ = c;
  *tokenTextPtr = 0;
}

// Appends a byte of macro text as it stands.
static void appendCode(Byte c) {
  if (tokenTextPtr >= tokenTextEnd()) return;
  *tokenTextPtr++ = c;
  *tokenTextPtr = 0;
}

void appendBlank() {
  if (tokenTextPtr > tokenText && tokenTextPtr[-1] == ' ') return;
  appendCode(' ');
}

bool passSplice() {
  const Byte c = nextChar();
  if (isLineEnd(c)) {
    countNewline(c);
    return true;
  }
  ungetChar();
  return false;
}

// --- Comments and blanks ---

void scanBlockComment() {
  const bool keep = keepComments();
  const int32_t firstLine = currentLine;
  uint32_t depth = 1;
  if (keep) {
    emitChar('/');
    emitChar('*');
  }
  Byte c;
  bool inHand = false;
  for (;;) {
    if (!inHand) {
      if (fastPaths && !keep) inputCursor = findCommentStop(inputCursor, inputLimit);
      c = nextChar();
      if (keep && !isLineEnd(c) && c != endOfTextByte) emitChar(c);
    }
    inHand = false;
    if (isLineEnd(c)) {
      countNewline(c);
    } else if (c == endOfTextByte) {
      reportError(msgEndInComment, firstLine);
      return;
    } else if (c == '*' || (c == '/' && optionImage.nestedComments)) {
      Byte d = nextChar();
      if (c == '*') {
        while (d == '\\') {
          if (keep) emitChar(d);
          if (!passSplice()) break;
          d = nextChar();
        }
        if (d == '\\') continue;
      }
      if (keep && !isLineEnd(d) && d != endOfTextByte) emitChar(d);
      if (c == '*' && d == '/') {
        if (--depth == 0) return;
      } else if (c == '/' && d == '*') {
        ++depth;
      } else {
        c = d;
        inHand = true;
      }
    }
  }
}

void scanLineComment() {
  for (;;) {
    if (fastPaths && !anyLeadBytes) inputCursor = findLineCommentStop(inputCursor, inputLimit);
    const Byte c = nextChar();
    if (isLeadByte(c)) {
      nextChar();
    } else if (c == endOfTextByte) {
      reportError(msgEndInComment, currentLine);
      return;
    } else if (isLineEnd(c)) {
      ungetChar();
      return;
    } else if (c == '\\') {
      const Byte d = nextChar();
      if (isLineEnd(d)) {
        reportWarning(warnContinuedComment);
        countNewline(d);
      }
    }
  }
}

bool passComment() {
  const Byte c = nextChar();
  if (c == '*') {
    scanBlockComment();
    return true;
  }
  if (c == '/' && lineCommentsAllowed()) {
    scanLineComment();
    return true;
  }
  ungetChar();
  return false;
}

// Gives back `c`, which was read in front of the byte in hand when the cursor then
// stood at `behind`. The byte in hand is stepped back over so that the caller can
// step back over `c` as well, though the two may come from different frames or
// blocks.
VSP_COLD static Byte readAgain(Byte c, const Byte* behind) {
  ungetTwo(c, behind);
  return nextChar();
}

// Passes what stands between tokens from `c` on, where `c` is no plain blank or
// blanks are kept.
static Byte skipSpaceSlow(Byte c) {
  for (;;) {
    if (c == '/') {
      const Byte* const behind = inputCursor;
      const Byte d = nextChar();
      if (d == '*')
        scanBlockComment();
      else if (d == '/' && lineCommentsAllowed())
        scanLineComment();
      else
        return readAgain(c, behind);
    } else if (c == '\\') {
      const Byte* const behind = inputCursor;
      const Byte d = nextChar();
      if (!isLineEnd(d)) return readAgain(c, behind);
      countNewline(d);
    } else if (c != 0) {
      if (tokenClass[c] != classBlank) return c;
      if (c < 0xFB && keepComments()) emitChar(c);
    }
    c = nextChar();
  }
}

Byte skipSpaceFrom(Byte c) {
  return skipSpaceSlow(c);
}

Byte skipSpace() {
  if constexpr (!fastPaths) return skipSpaceSlow(0);
  const bool keep = keepComments();
  Byte c;
  do {
    c = nextChar();
  } while ((c == ' ' || c == '\t') && !keep);
  if (c > '/' && c != '\\' && c < 0x80) return c;
  return skipSpaceSlow(c);
}

// --- Handlers ---

void reportIllegalCharacter(Byte c) {
  uint32_t value = c;
  Byte text[3] = {c, 0, 0};
  if (isLeadByte(c)) {
    text[1] = nextChar();
    value = (value << 8) | text[1];
  }
  // The text stands in tokenText for the time of the report; what it covers
  // belongs to a collection in progress and comes back.
  Byte* const start = tokenTextPtr;
  Byte covered[3];
  const size_t room = size_t(tokenText + tokenTextSize - start);
  const size_t used = room < sizeof text ? room : sizeof text;
  std::memcpy(covered, start, used);
  if (savedTextPtr == nullptr) savedTextPtr = start;
  bufPutChar(text[0]);
  if (isLeadByte(c)) bufPutChar(text[1]);
  reportError(msgIllegalCharacter, start, value);
  std::memcpy(start, covered, used);
}

// The nine operators that may be doubled or followed by '='; `d` is the byte
// behind `c`, already read.
static TokenCode scanOperator(Byte c, Byte d) {
  const size_t index = size_t(-tokenClass[c]);
  for (;;) {
    if (d == c && operatorDoubled[index] != 0) return deliver(operatorDoubled[index]);
    if (d == '=') return deliver(operatorWithEqual[index]);
    if (d != '\\') break;
    const Byte* const behind = inputCursor;
    const Byte e = nextChar();
    if (!isLineEnd(e)) {
      ungetTwo('\\', behind);
      return deliver(operatorAlone[index]);
    }
    countNewline(e);
    d = nextChar();
  }
  ungetChar();
  return deliver(operatorAlone[index]);
}

static int scanSlash() {
  recordTokenPosition();
  for (;;) {
    const Byte d = nextChar();
    if (d == '*') {
      scanBlockComment();
      return goOn;
    }
    if (d == '/') {
      if (!lineCommentsAllowed()) return scanOperator('/', d);
      scanLineComment();
      return goOn;
    }
    if (d != '\\') return scanOperator('/', d);
    const Byte* const behind = inputCursor;
    const Byte e = nextChar();
    if (!isLineEnd(e)) {
      ungetTwo('\\', behind);
      return deliver(tokSlash);
    }
    countNewline(e);
  }
}

// True, and the byte is consumed, if the next byte is `c`.
static bool followedBy(Byte c) {
  if (nextChar() == c) return true;
  ungetChar();
  return false;
}

static TokenCode scanColon() {
  recordTokenPosition();
  return deliver(followedBy(':') ? tokColonColon : tokColon);
}

static TokenCode scanMinus() {
  recordTokenPosition();
  switch (nextChar()) {
    case '-': return deliver(tokMinusMinus);
    case '=': return deliver(tokSubAssign);
    case '>': return deliver(cplusplusMode && followedBy('*') ? tokArrowStar : tokArrow);
    default: ungetChar(); return deliver(tokMinus);
  }
}

static TokenCode scanGreater() {
  recordTokenPosition();
  switch (nextChar()) {
    case '=': return deliver(tokGreaterEqual);
    case '>': return deliver(followedBy('=') ? tokShrAssign : tokShr);
    default: ungetChar(); return deliver(tokGreater);
  }
}

static TokenCode scanLess() {
  recordTokenPosition();
  switch (nextChar()) {
    case '=': return deliver(tokLessEqual);
    case '<': return deliver(followedBy('=') ? tokShlAssign : tokShl);
    default: ungetChar(); return deliver(tokLess);
  }
}

// A number: its value is made only where something reads it, in a directive's
// line, or where its size is checked.
static int scanNumberToken(Byte c) {
  recordTokenPosition();
  const int radix = scanNumber(c);
  if (activeClass != &tokenClass) return goOn;
  if (!fastPaths || lineMode || optionImage.languageLevel == levelAnsi) return deliver(convertNumber(radix));
  tokenTextPtr = tokenText;
  return deliver(radix == 0 ? tokFloatConst : tokIntConst);
}

static int scanDot() {
  recordTokenPosition();
  const Byte d = nextChar();
  if (isDigit(d)) {
    ungetChar();
    return scanNumberToken('.');
  }
  if (d == '*') return deliver(tokDotStar);
  if (d != '.') {
    ungetChar();
    return deliver(tokDot);
  }
  if (followedBy('.')) return deliver(tokEllipsis);
  reportError(msgTwoDots);
  return deliver(tokDot);
}

static int scanBackslash(Byte c) {
  if (keepComments()) emitChar(c);
  const Byte d = nextChar();
  if (d == '?') {
    recordTokenPosition();
    return deliver(tokQuestion);
  }
  if (isLineEnd(d)) {
    countNewline(d);
    return goOn;
  }
  ungetChar();
  reportIllegalCharacter(c);
  return goOn;
}

// A name that has been scanned and is none that always stands: the rest of the
// macro check, and the token.
static int finishName() {
  if (activeClass == &bodyClass) return deliver(tokIdent);
  const int answer = checkMacro();
  if (answer == 0) return goOn;
  if (answer > 0) return goOnWith(Byte(answer));
  if (activeClass == &copyClass) return deliver(tokIdent);
  tokenState.entry = currentIdent;
  const int code = currentIdent->tokenCode;
  if (code == 0 || (optionImage.languageLevel == levelAnsi && lineMode)) return deliver(tokIdent);
  return deliver(code);
}

static int scanName(Byte c) {
  recordTokenPosition();
  pasteSeen = false;
  scanIdentifier(c);
  return finishName();
}

static int scanWidePrefix(Byte c) {
  const Byte d = nextChar();
  if (d != '\'' && d != '"') {
    ungetChar();
    return scanName(c);
  }
  if (activeClass != &tokenClass) {
    appendCode(c);
    return goOnWith(d);
  }
  recordTokenPosition();
  if (d == '\'') {
    wideChar = true;
    return deliver(scanCharConstant());
  }
  wideString = true;
  return deliver(tokString);
}

static int scanEndOfText() {
  return popSourceFile(false) ? goOn : deliver(tokEndOfFile);
}

// A literal in a text that is copied. An unterminated one has stopped in front
// of a line end, which ends the text; or of the end of an argument, which the
// loop must meet.
static int copyLiteralToken(Byte quote, bool report) {
  if (copyLiteral(report, bufPutEscaped, quote)) return goOn;
  const Byte c = nextChar();
  if (report && c == endOfTextByte) return goOnWith(c);
  recordTokenPosition();
  return deliver(tokEndOfLine);
}

static int copySlash(Byte c) {
  if (passComment())
    appendBlank();
  else
    appendCode(c);
  return goOn;
}

// '#' in the body of a function-like macro: the stringize mark, or with a second
// one the paste mark, which takes the blanks on both its sides away.
static int copyHash() {
  const Byte d = nextChar();
  if (d != '#') {
    appendCode(stringizeMark);
    return goOnWith(skipSpaceFrom(d));
  }
  while (tokenTextPtr > tokenText && tokenTextPtr[-1] == ' ') --tokenTextPtr;
  appendCode(pasteMark);
  return goOnWith(skipSpace());
}

static int copyBackslash(Byte c) {
  if (!passSplice()) appendCode(c);
  return goOn;
}

static int scanLineEnd(Byte c) {
  if (lineMode) {
    recordTokenPosition();
    return deliver(tokEndOfLine);
  }
  countNewline(c);
  const Byte d = skipSpace();
  if (d != '#') return goOnWith(d);
  processDirective(false, true);
  return goOn;
}

// Every class but the hottest; `c` has been consumed.
static int handleClass(int charClassOf, Byte c) {
  switch (charClassOf) {
    case classExclaim:
    case classPercent:
    case classAmpersand:
    case classStar:
    case classPlus:
    case classCaret:
    case classBar:
    case classEqual: recordTokenPosition(); return scanOperator(c, nextChar());
    case classSlash: return scanSlash();
    case classLetter: return scanName(c);
    case classDigit: return scanNumberToken(c);
    case classString:
      recordTokenPosition();
      wideString = false;
      return deliver(tokString);
    case classHash: recordTokenPosition(); return deliver(tokHash);
    case classCharConst:
      recordTokenPosition();
      wideChar = false;
      return deliver(scanCharConstant());
    case classMinus: return scanMinus();
    case classDot: return scanDot();
    case classLess: return scanLess();
    case classGreater: return scanGreater();
    case classColon: return scanColon();
    case classLineEnd: return scanLineEnd(c);
    case classBackslash: return scanBackslash(c);
    case classEndOfText: return scanEndOfText();
    case classWidePrefix: return scanWidePrefix(c);
    case classCopy: appendCopied(c); return goOn;
    case classBodyBlank: appendBlank(); return goOn;
    case classBodyLiteral: return copyLiteralToken(c, false);
    case classCopyLiteral: return copyLiteralToken(c, true);
    case classCopySlash: return copySlash(c);
    case classBodyHash: return copyHash();
    case classBodySplice: return copyBackslash(c);
    default: reportIllegalCharacter(c); return goOn;
  }
}

TokenCode scanToken() {
  for (;;) {
    const Byte* cursor = inputCursor;
    const Byte* const limit = inputLimit;
    Byte c;
    int entry;
    // Blanks go straight to the output, as long as the input lasts.
    for (;;) {
      if (!fastPaths || cursor >= limit) [[unlikely]] {
        inputCursor = cursor;
        c = nextChar();
        entry = (*activeClass)[c];
        break;
      }
      c = *cursor++;
      entry = (*activeClass)[c];
      if (entry != classBlank) {
        inputCursor = cursor;
        break;
      }
      if (c < 0xFB) emitChar(c);
    }
    for (;;) {
      if (entry > 0) {
        recordTokenPosition();
        return deliver(entry);
      }
      int answer;
      if (entry == classBlank) {
        if (c < 0xFB) emitChar(c);
        answer = goOn;
      } else {
        answer = handleClass(entry, c);
      }
      if (answer >= 0) return TokenCode(answer);
      if (answer == goOn) break;
      c = Byte(-2 - answer);
      entry = (*activeClass)[c];
    }
  }
}
