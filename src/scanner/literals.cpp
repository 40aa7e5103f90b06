// Character constants and strings.
//
// The text of a literal is the output's; its value, for character constants, is
// made by a second pass that reads the collected text like input. A string's
// characters are read by whoever got its token, raw: from the input, or from
// pendingText, which is how a stringized argument and __FILE__ come in.

#include "scanner/literals.h"

#include <cstring>

#include "diag/report.h"
#include "input/frame.h"
#include "input/macro_text.h"
#include "options/lead_bytes.h"
#include "options/option_image.h"
#include "platform/code_page.h"
#include "scanner/char_class.h"
#include "scanner/token.h"
#include "scanner/skip.h"
#include "scanner/state.h"
#include "scanner/token_text.h"

constexpr int endOfLiteral = -1;

void appendLiteralByte(Byte c) {
  if (c == endOfBodyMark)
    tokenText.append(c);
  else
    tokenText.appendEscaped(c);
}

void bytesOfFloat(long double value, Byte bytes[10]) {
  std::memcpy(bytes, &value, 10);
}

long double floatOfBytes(const Byte bytes[10]) {
  long double value = 0;
  std::memcpy(&value, bytes, 10);
  return value;
}

// --- One character of a literal ---

// A byte with its trail byte, if it has one; `c` has been read.
static int withTrailByte(Byte c) {
  if (!isLeadByte(c)) return c;
  const Byte trail = nextChar();
  if (trail == endOfTextByte || isLineEnd(trail)) {
    ungetChar();
    return c;
  }
  return (c << 8) | trail;
}

// The largest value of an escape in this constant.
static uint32_t escapeLimit() {
  return scanner.wideChar ? 0xFFFF : 0xFF;
}

// Reports an escape above the limit, once, and takes it for 0.
static void limitEscape(uint32_t& value, bool& reported) {
  if (value <= escapeLimit() || reported) return;
  messageLine = tokenState.line;
  reportError(msgConstantTooLarge);
  reported = true;
  value = 0;
}

static int readOctalEscape(Byte c) {
  uint32_t value = 0;
  bool reported = false;
  for (int count = 0; count < 3 && c >= '0' && c <= '7'; ++count) {
    value = value * 8 + uint32_t(c - '0');
    limitEscape(value, reported);
    c = nextChar();
  }
  ungetChar();
  return int(value);
}

static int wrongEscape() {
  reportError(msgNumberFormat);
  return endOfLiteral;
}

// "\x" and "\u": the first has a limit, and splices and further escapes may
// follow it; the second must end the constant.
static int readHexEscape(bool universal) {
  Byte c = nextChar();
  if (hexValue(c) < 0) return wrongEscape();
  uint32_t value = 0;
  int digits = 0;
  bool reported = false;
  for (;;) {
    while (hexValue(c) >= 0) {
      value = value * 16 + uint32_t(hexValue(c));
      if (!universal) limitEscape(value, reported);
      ++digits;
      c = nextChar();
    }
    if (universal || c != '\\') break;
    if (!passSplice()) break;
    c = nextChar();
  }
  if (c != '\'' && (universal || c != '\\')) return wrongEscape();
  ungetChar();
  if (digits > (universal || scanner.wideChar ? 4 : 3)) reportWarning(warnHexDigits);
  return int(value & 0x7FFFFFFF);
}

// The escape whose backslash has been read. `splice` says that it was none.
static int readEscape(bool& splice) {
  const int c = withTrailByte(nextChar());
  switch (c) {
    case 'a': return 7;
    case 'b': return 8;
    case 'f': return 12;
    case 'n': return 10;
    case 'r': return 13;
    case 't': return 9;
    case 'v': return 11;
    case '0':
    case '1':
    case '2':
    case '3':
    case '4':
    case '5':
    case '6':
    case '7': return readOctalEscape(Byte(c));
    case 'x': return readHexEscape(false);
    case 'u': return readHexEscape(true);
    case '\n':
    case '\r':
      countNewline(Byte(c));
      splice = true;
      return c;
    case endOfTextByte: reportError(msgUnterminatedLiteral); return endOfLiteral;
    default: return c;
  }
}

int readLiteralChar(Byte quote) {
  for (;;) {
    const int c = withTrailByte(nextChar());
    if (c == quote) return endOfLiteral;
    if (c != '\\' || quote != '\'') return c;
    bool splice = false;
    const int value = readEscape(splice);
    if (!splice) return value;
  }
}

// --- Character constants ---

// Collects the text up to the closing quote; false if the line ends before it.
static bool collectCharConstant() {
  tokenText.rewind();
  tokenText.append('\'');
  for (;;) {
    const Byte c = nextChar();
    tokenText.append(c);
    if (isLineEnd(c) || c == endOfTextByte) {
      reportError(msgUnterminatedLiteral);
      return false;
    }
    if (c == '\'') return true;
    if (c == '\\' || isLeadByte(c)) tokenText.append(nextChar());
  }
}

// The decoded bytes of a character constant.
struct CharBytes {
  Byte bytes[4];
  uint32_t count;  // of all bytes, those beyond the fourth too
};

// What a wrong escape left of the collected text is read as input next. It moves
// to a frame of its own, since tokenText is about to be used again.
VSP_COLD static void keepRest() {
  const Byte* const rest = input.cursor;
  const size_t length = size_t(input.limit - rest);
  popFrame();
  pushTextCopy(rest, length);
}

// Pushes the collected text from after its opening quote. One that fills the
// buffer may have lost its closing quote and gets one; the result is then true.
static bool pushCollectedText() {
  Byte* const end = tokenText.end;
  const size_t length = size_t(end - tokenText.bytes) - 1;
  tokenText.rewind();
  if (end < tokenText.limit()) {
    pushTextFrame(tokenText.bytes + 1, length);
    return false;
  }
  *end = '\'';
  pushTextCopy(tokenText.bytes + 1, length + 1);
  *end = 0;
  return true;
}

// Reads the collected text as input. The text may hold a byte that would end it
// early, so it is bounded by its frame and by the end-of-text byte.
static CharBytes decodeCharConstant() {
  CharBytes result{};
  InputFrame* const below = input.top;
  const bool cut = pushCollectedText();
  InputFrame* const frame = input.top;
  const auto store = [&](int byte) {
    if (result.count < 4) result.bytes[result.count] = Byte(byte);
    ++result.count;
  };
  for (;;) {
    const int c = readLiteralChar('\'');
    if (c == endOfLiteral || c == endOfTextByte) break;
    if (c > 0xFF && result.count < 4) store(c >> 8);
    store(c);
    if (input.top == below) break;
  }
  if (input.top == frame) {
    if (input.cursor < input.limit && !cut)
      keepRest();
    else
      popFrame();
  }
  return result;
}

static uint32_t narrowValue(const CharBytes& decoded) {
  uint32_t value;
  std::memcpy(&value, decoded.bytes, 4);
  if (decoded.count == 1 && !optionImage.unsignedChar) value = uint32_t(int32_t(int8_t(decoded.bytes[0])));
  return value;
}

// The code page that needs no conversion of wide characters.
constexpr uint32_t codePageOem = 437;

// The 16-bit characters of a value of up to four bytes, highest first: none gives
// 0, one itself, two or more (first << 16) | second. `size` receives 2 or 4, the
// bytes of the result; with code page 437 value and size stay as they are.
static uint32_t wideCharOf(uint32_t value, uint32_t& size) {
  if (optionImage.codePage == codePageOem) return value;
  Byte bytes[4];
  int count = 0;
  for (int shift = 24; shift >= 0; shift -= 8) {
    const Byte b = Byte(value >> shift);
    if (count != 0 || b != 0) bytes[count++] = b;
  }
  constexpr int wideLimit = 5;
  uint16_t wide[wideLimit] = {};
  int made;
  do {
    made = toWideChars(optionImage.codePage, bytes, count, wide, wideLimit);
  } while (made == convertNoDescriptor && suspendFile());
  if (made == convertNoMemory) failOutOfMemory();
  size = made >= 2 ? 4 : 2;
  if (made >= 2) return (uint32_t(wide[0]) << 16) | wide[1];
  return made == 1 ? wide[0] : 0;
}

static uint32_t wideValue(CharBytes& decoded) {
  uint32_t value = 0;
  const uint32_t stored = decoded.count < 4 ? decoded.count : 4;
  for (uint32_t i = 0; i < stored; ++i) value = (value << 8) | decoded.bytes[i];
  value = wideCharOf(value, decoded.count);
  constexpr uint32_t wideCharSize = 2;
  return decoded.count <= wideCharSize ? value & 0xFFFF : value;
}

TokenCode scanCharConstant() {
  tokenState.integer = IntTokenValue{0, tagInt, 0};
  if (!collectCharConstant()) {
    tokenText.rewind();
    return tokIntConst;
  }
  CharBytes decoded = decodeCharConstant();
  if (decoded.count == 0 || decoded.count > 4) reportError(msgCharConstantLength);
  if (scanner.wideChar) {
    tokenState.integer.value = wideValue(decoded);
    tokenState.integer.typeTag = cplusplusMode ? tagWchar : tagUnsignedShort;
  } else {
    tokenState.integer.value = narrowValue(decoded);
    if (cplusplusMode && decoded.count == 1) tokenState.integer.typeTag = tagChar;
  }
  return decoded.count == 1 ? tokCharConst : tokIntConst;
}

// --- Strings ---

// The next byte of pendingText that is no mark; -1 at its end. A byte after the
// escape is taken as it is.
static int nextPendingByte(bool& plain) {
  plain = false;
  for (;;) {
    const Byte c = *input.pendingText;
    if (c == 0 || c == endOfTextByte) return endOfLiteral;
    ++input.pendingText;
    if (c == noExpandCode || c == endOfBodyMark) continue;
    if (c != escapeMark) return c;
    plain = true;
    return *input.pendingText++;
  }
}

int readStringChar() {
  if (input.pendingText == nullptr) return readLiteralChar('"');
  bool plain;
  const int c = nextPendingByte(plain);
  if (c == endOfLiteral) {
    input.pendingText = nullptr;
    return endOfLiteral;
  }
  if (!isLeadByte(Byte(c))) return c;
  const int trail = nextPendingByte(plain);
  return trail == endOfLiteral ? c : (c << 8) | trail;
}

int nextStringChar() {
  int c = readStringChar();
  if (c == endOfLiteral && scanner.lastStringChar == '\\') c = '"';
  scanner.lastStringChar = scanner.lastStringChar == '\\' ? ' ' : c;
  return c;
}

// --- Copying ---

// Copies pendingText as a string's inside: what stands in a string there keeps
// its quotes and backslashes by a backslash more.
static void copyPending(AppendByte append) {
  bool inString = false;
  for (;;) {
    bool plain;
    const int c = nextPendingByte(plain);
    if (c == endOfLiteral) break;
    const bool isQuote = !plain && c == '"';
    if (isQuote) inString = !inString;
    if (isQuote || (!plain && c == '\\' && inString)) append('\\');
    append(Byte(c));
    if (isLeadByte(Byte(c))) {
      const int trail = nextPendingByte(plain);
      if (trail == endOfLiteral) break;
      append(Byte(trail));
    }
  }
  input.pendingText = nullptr;
}

// Copies the escape whose backslash has been read; a splice yields nothing.
static void copyEscape(AppendByte append) {
  const Byte c = nextChar();
  if (isLineEnd(c)) {
    countNewline(c);
    return;
  }
  append('\\');
  append(c);
  if (isLeadByte(c)) append(nextChar());
}

// Copies a byte, and the trail byte of a double-byte character.
static void copyCharacter(Byte c, AppendByte append) {
  append(c);
  if (!isLeadByte(c)) return;
  const Byte trail = nextChar();
  if (trail == endOfTextByte || isLineEnd(trail))
    ungetChar();
  else
    append(trail);
}

bool copyLiteral(bool report, AppendByte append, Byte quote) {
  append(quote);
  bool closed = input.pendingText != nullptr;
  if (closed) copyPending(append);
  while (!closed) {
    const Byte c = nextChar();
    if (isLineEnd(c) || c == endOfTextByte) break;
    if (c == quote)
      closed = true;
    else if (c == '\\')
      copyEscape(append);
    else
      copyCharacter(c, append);
  }
  if (!closed) {
    if (report) {
      reportError(msgUnterminatedLiteral);
      append(quote);
    }
    ungetChar();
    return false;
  }
  append(quote);
  return true;
}
