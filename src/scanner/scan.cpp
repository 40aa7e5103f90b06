// The scanner's loop and its handlers, one for each character class.
//
// The loop keeps cursor and limit in locals and stores the cursor before
// anything that may look at the input. A handler delivers a token, or says how
// the loop goes on: with the next byte, or with one that has been read already.

#include "scanner/scan.h"

#include "diag/position.h"
#include "diag/report.h"
#include "input/frame.h"
#include "input/macro_text.h"
#include "options/lead_bytes.h"
#include "options/option_image.h"
#include "output/output.h"
#include "scanner/char_class.h"
#include "scanner/literals.h"
#include "scanner/numbers.h"
#include "scanner/read_name.h"
#include "scanner/skip.h"
#include "scanner/state.h"
#include "scanner/token_text.h"
#include "scanner/upcalls.h"

const char* tokenSpelling[tokenCodeCount] = {
#define TOKEN(name, spelling) spelling,
#include "scanner/tokens.def"
#undef TOKEN
};

constinit Byte tokenSpellingLength[tokenCodeCount] = {
#define TOKEN(name, spelling) sizeof spelling - 1,
#include "scanner/tokens.def"
#undef TOKEN
};

constinit TokenState tokenState{};
constinit ScannerState scanner = {};

// What a handler answers.
struct Answer {
  enum Next : Byte {
    token,     // a token is delivered
    nextByte,  // the loop goes on
    heldByte,  // the loop goes on with `byte`, which has been read already
  };

  Next next;
  Byte byte;     // with heldByte
  int16_t code;  // with token: its TokenCode
};

constexpr Answer goOn = {Answer::nextByte, 0, 0};

static constexpr Answer goOnWith(Byte c) {
  return {Answer::heldByte, c, 0};
}

void startScanner() {
  scanner = {};
  tokenState = {.code = tokNone, .line = 0, .entry = nullptr};
  tokenText.clear();
}

// Sets the position of the current token to that of the reading.
VSP_INLINE void recordTokenPosition() {
  tokenState.line = currentLine;
}

VSP_INLINE Answer deliver(int code) {
  tokenState.code = TokenCode(code);
  return {Answer::token, 0, int16_t(code)};
}

// --- Handlers ---

void reportIllegalCharacter(Byte c) {
  uint32_t value = c;
  Byte text[3] = {c, 0, 0};
  if (isLeadByte(c)) {
    text[1] = nextChar();
    value = (value << 8) | text[1];
  }
  reportError(msgIllegalCharacter, text, value);
}

// The nine operators that may be doubled or followed by '='; `d` is the byte
// after `c`, already read.
static Answer scanOperator(Byte c, Byte d) {
  const size_t index = tokenClass[c];
  for (;;) {
    if (d == c && operatorDoubled[index] != 0) return deliver(operatorDoubled[index]);
    if (d == '=') return deliver(operatorWithEqual[index]);
    if (d != '\\') break;
    const Byte* const after = input.cursor;
    const Byte e = nextChar();
    if (!isLineEnd(e)) {
      ungetTwo('\\', after);
      return deliver(operatorAlone[index]);
    }
    countNewline(e);
    d = nextChar();
  }
  ungetChar();
  return deliver(operatorAlone[index]);
}

static Answer scanSlash() {
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
    const Byte* const after = input.cursor;
    const Byte e = nextChar();
    if (!isLineEnd(e)) {
      ungetTwo('\\', after);
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

static Answer scanColon() {
  recordTokenPosition();
  return deliver(followedBy(':') ? tokColonColon : tokColon);
}

static Answer scanMinus() {
  recordTokenPosition();
  switch (nextChar()) {
    case '-': return deliver(tokMinusMinus);
    case '=': return deliver(tokSubAssign);
    case '>': return deliver(cplusplusMode && followedBy('*') ? tokArrowStar : tokArrow);
    default: ungetChar(); return deliver(tokMinus);
  }
}

static Answer scanGreater() {
  recordTokenPosition();
  switch (nextChar()) {
    case '=': return deliver(tokGreaterEqual);
    case '>': return deliver(followedBy('=') ? tokShrAssign : tokShr);
    default: ungetChar(); return deliver(tokGreater);
  }
}

static Answer scanLess() {
  recordTokenPosition();
  switch (nextChar()) {
    case '=': return deliver(tokLessEqual);
    case '<': return deliver(followedBy('=') ? tokShlAssign : tokShl);
    default: ungetChar(); return deliver(tokLess);
  }
}

// A number: its value is made only where something reads it, in a directive's
// line, or where its size is checked.
static Answer scanNumberToken(Byte c) {
  recordTokenPosition();
  const int radix = scanNumber(c);
  if (scanner.activeClass != &tokenClass) return goOn;
  if (!fastPaths || scanner.lineMode || optionImage.languageLevel == levelAnsi)
    return deliver(convertNumber(radix));
  tokenText.rewind();
  return deliver(radix == 0 ? tokFloatConst : tokIntConst);
}

static Answer scanDot() {
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

static Answer scanBackslash(Byte c) {
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

static Answer scanName(Byte c) {
  recordTokenPosition();
  input.pasteSeen = false;
  scanner.scannedName = scanIdentifier(c);
  if (scanner.activeClass == &bodyClass) return deliver(tokIdent);
  const MacroAnswer answer = checkMacro(scanner.scannedName);
  if (answer.outcome == MacroAnswer::expanded) return goOn;
  if (answer.outcome == MacroAnswer::replaced) return goOnWith(answer.byte);
  scanner.plainIdent = answer.outcome == MacroAnswer::standsForGood;
  if (scanner.activeClass == &copyClass) return deliver(tokIdent);
  tokenState.entry = answer.entry;
  const int code = answer.entry->tokenCode;
  if (code == 0 || (optionImage.languageLevel == levelAnsi && scanner.lineMode)) return deliver(tokIdent);
  return deliver(code);
}

static Answer scanWidePrefix(Byte c) {
  const Byte d = nextChar();
  if (d != '\'' && d != '"') {
    ungetChar();
    return scanName(c);
  }
  if (scanner.activeClass != &tokenClass) {
    tokenText.append(c);
    return goOnWith(d);
  }
  recordTokenPosition();
  if (d == '\'') {
    scanner.wideChar = true;
    return deliver(scanCharConstant());
  }
  scanner.wideString = true;
  return deliver(tokString);
}

static Answer scanEndOfText() {
  return popSourceFile(false) ? goOn : deliver(tokEndOfFile);
}

// A literal in a text that is copied. An unterminated one has stopped in front
// of a line end, which ends the text; or of the end of an argument, which the
// loop must meet.
static Answer copyLiteralToken(Byte quote, bool report) {
  if (copyLiteral(report, appendLiteralByte, quote)) return goOn;
  const Byte c = nextChar();
  if (report && c == endOfTextByte) return goOnWith(c);
  recordTokenPosition();
  return deliver(tokEndOfLine);
}

static Answer copySlash(Byte c) {
  if (passComment())
    tokenText.appendBlank();
  else
    tokenText.append(c);
  return goOn;
}

// '#' in the body of a function-like macro: the stringize mark, or with a second
// one the paste mark, which takes the blanks on both its sides away.
static Answer copyHash() {
  const Byte d = nextChar();
  if (d != '#') {
    tokenText.append(stringizeMark);
    return goOnWith(skipSpaceFrom(d));
  }
  tokenText.dropBlanks();
  tokenText.append(pasteMark);
  return goOnWith(skipSpaceFrom(nextChar(), false));
}

static Answer copyBackslash(Byte c) {
  if (!passSplice()) tokenText.append(c);
  return goOn;
}

static Answer scanLineEnd(Byte c) {
  if (scanner.lineMode) {
    recordTokenPosition();
    return deliver(tokEndOfLine);
  }
  countNewline(c);
  const Byte d = skipSpace();
  if (d != '#') return goOnWith(d);
  // Nothing is read yet: the current token stays what it was.
  return {Answer::token, 0, tokDirective};
}

// Every class but the blanks, which getToken writes itself; `c` has been consumed.
static Answer handleClass(Byte byteClass, Byte c) {
  switch (byteClass) {
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
      scanner.wideString = false;
      return deliver(tokString);
    case classHash: recordTokenPosition(); return deliver(tokHash);
    case classCharConst:
      recordTokenPosition();
      scanner.wideChar = false;
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
    case classCopy: tokenText.appendEscaped(c); return goOn;
    case classBodyBlank: tokenText.appendBlank(); return goOn;
    case classBodyLiteral: return copyLiteralToken(c, false);
    case classCopyLiteral: return copyLiteralToken(c, true);
    case classCopySlash: return copySlash(c);
    case classBodyHash: return copyHash();
    case classBodySplice: return copyBackslash(c);
    default: reportIllegalCharacter(c); return goOn;
  }
}

TokenCode getToken() {
  for (;;) {
    const Byte* cursor = input.cursor;
    const Byte* const limit = input.limit;
    Byte c;
    Byte entry;
    // Blanks go straight to the output, as long as the input lasts.
    for (;;) {
      if (!fastPaths || cursor >= limit) [[unlikely]] {
        input.cursor = cursor;
        c = nextChar();
        entry = (*scanner.activeClass)[c];
        break;
      }
      c = *cursor++;
      entry = (*scanner.activeClass)[c];
      if (entry != classBlank) {
        input.cursor = cursor;
        break;
      }
      if (c < endOfBodyMark) emitChar(c);
    }
    for (;;) {
      if (entry >= wholeToken) {
        recordTokenPosition();
        return tokenState.code = TokenCode(entry - wholeToken);
      }
      if (entry == classBlank) {
        if (c < endOfBodyMark) emitChar(c);
        break;
      }
      const Answer answer = handleClass(entry, c);
      if (answer.next == Answer::token) return TokenCode(answer.code);
      if (answer.next == Answer::nextByte) break;
      c = answer.byte;
      entry = (*scanner.activeClass)[c];
    }
  }
}
