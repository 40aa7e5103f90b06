// Plain text, passed in runs.
//
// Most of a source is names that are no macros, numbers, punctuation, blanks and
// line ends. Scanner and token pass together make of each of them a token and
// then the same bytes again; here they are recognised and copied in one loop,
// with cursor and room in locals. Whatever is not plain is left where it stands,
// untouched, for the scanner: no rule of the language has its only home here.
//
// Each routine takes the bytes from `cursor` on, and either writes the token,
// with the blank that keeps it apart, and advances, or returns false with
// nothing changed.

#include "driver/plain_text.h"

#include "diag/position.h"
#include "driver/separators.h"
#include "input/frame.h"
#include "input/macro_frames.h"
#include "input/macro_text.h"
#include "names/names.h"
#include "options/lead_bytes.h"
#include "options/option_image.h"
#include "output/advance_line.h"
#include "output/output.h"
#include "scanner/byte_search.h"
#include "scanner/char_class.h"
#include "scanner/literals.h"
#include "scanner/scan.h"

// Room that must be left for the next token: a separator, and the longest name
// or keyword.
constexpr size_t plainRoom = 272;

// The run being passed.
struct PlainRun {
  const Byte* cursor;
  const Byte* limit;  // of the input; the byte there may not be taken
  Byte* out;
  Byte* outLimit;     // of the output, less plainRoom
  int previous;       // code of the token written last
  int32_t line;       // currentLine
  int32_t tokenLine;  // the line of the token written last
};

// Notes that a token has been written.
VSP_INLINE void wrote(PlainRun& run, int code) {
  run.previous = code;
  run.tokenLine = run.line;
}

bool mayPassPlainText() {
  return fastPaths && (optionImage.outputFlags & readableFlag) == 0 && !keepComments() &&
         output.buffer != nullptr && !anyLeadBytes && optionImage.languageLevel != levelAnsi;
}

// Writes the blank that keeps a token which begins with a word byte apart.
VSP_INLINE void separateWord(PlainRun& run) {
  const bool afterNumber =
      run.previous == tokIntConst || run.previous == tokLongConst || run.previous == tokFloatConst;
  if (wordBytes[run.out[-1]] && !afterNumber) *run.out++ = ' ';
}

VSP_INLINE bool passName(PlainRun& run) {
  const Byte* const text = run.cursor;
  const Byte* end = text;
  // The byte at the limit belongs to no name.
  while (isNameByte(*end)) ++end;
  const uint32_t length = uint32_t(end - text);
  if (end >= run.limit || *end == '\\' || length > identLimit) return false;
  // A dynamic name, by its length; and the prefix of a wide literal.
  if (text[0] == '_' && text[1] == '_' && (length == 8 || length == 11)) return false;
  if (text[0] == 'L' && length == 1 && (*end == '"' || *end == '\'')) return false;
  const IdentEntry* const entry = findKnown(makeName(text, length));
  if (entry != nullptr && entry->isMacro()) return false;
  const int code = entry == nullptr ? 0 : entry->tokenCode;
  if (code == 0) {
    separateWord(run);
    copyRun(run.out, text, length);
    run.out += length;
    wrote(run, tokIdent);
  } else {
    if (code == tokAsm) return false;
    separateWord(run);
    copyRun(run.out, asBytes(tokenSpelling[code]), tokenSpellingLength[code]);
    run.out += tokenSpellingLength[code];
    wrote(run, code);
  }
  run.cursor = end;
  return true;
}

// A decimal number of digits alone, or a single 0.
VSP_INLINE bool passNumber(PlainRun& run) {
  const Byte* end = run.cursor;
  while (isDigit(*end)) ++end;
  const size_t length = size_t(end - run.cursor);
  if (end >= run.limit || isNameByte(*end) || *end == '.' || wideChar || length > 16) return false;
  if (*run.cursor == '0' && length != 1) return false;
  separateWord(run);
  copyRun(run.out, run.cursor, length);
  run.out += length;
  run.cursor = end;
  wrote(run, tokIntConst);
  return true;
}

// Writes a punctuator of `length` bytes.
VSP_INLINE bool passPunctuator(PlainRun& run, int code, size_t length) {
  if (needsSeparator(run.previous, code)) *run.out++ = ' ';
  for (; length != 0; --length) *run.out++ = *run.cursor++;
  wrote(run, code);
  return true;
}

// One of the nine operators that may be doubled or followed by '='.
VSP_INLINE bool passOperator(PlainRun& run, int index) {
  const Byte c = run.cursor[0];
  const Byte d = run.cursor[1];
  if (run.cursor + 1 >= run.limit || d == '\\') return false;
  if (c == '/' && (d == '/' || d == '*')) return false;
  if (d == c && operatorDoubled[index] != 0) return passPunctuator(run, operatorDoubled[index], 2);
  if (d == '=') return passPunctuator(run, operatorWithEqual[index], 2);
  return passPunctuator(run, operatorAlone[index], 1);
}

// The other punctuators; those of three bytes are left to the scanner.
VSP_INLINE bool passOther(PlainRun& run, Byte byteClass) {
  const Byte d = run.cursor[1];
  if (run.cursor + 1 >= run.limit) return false;
  switch (byteClass) {
    case classColon:
      return d == ':' ? passPunctuator(run, tokColonColon, 2) : passPunctuator(run, tokColon, 1);
    case classMinus:
      if (d == '-') return passPunctuator(run, tokMinusMinus, 2);
      if (d == '=') return passPunctuator(run, tokSubAssign, 2);
      if (d != '>') return passPunctuator(run, tokMinus, 1);
      if (run.cursor + 2 >= run.limit || run.cursor[2] == '*') return false;
      return passPunctuator(run, tokArrow, 2);
    case classLess:
      if (d == '<') return false;
      return d == '=' ? passPunctuator(run, tokLessEqual, 2) : passPunctuator(run, tokLess, 1);
    case classGreater:
      if (d == '>') return false;
      return d == '=' ? passPunctuator(run, tokGreaterEqual, 2) : passPunctuator(run, tokGreater, 1);
    default:
      if (isDigit(d) || d == '.' || d == '*') return false;
      return passPunctuator(run, tokDot, 1);
  }
}

// A string without a backslash that ends in the buffer.
VSP_INLINE bool passString(PlainRun& run) {
  if (lastStringChar == '\\') return false;
  const Byte* const end = findStringStop(run.cursor + 1, run.limit);
  if (end >= run.limit || *end != '"') return false;
  const size_t length = size_t(end + 1 - run.cursor);
  if (length >= size_t(run.outLimit - run.out)) return false;
  separateWord(run);
  copyRun(run.out, run.cursor, length);
  run.out += length;
  run.cursor = end + 1;
  wrote(run, tokString);
  lastStringChar = -1;
  wideString = false;
  return true;
}

// A character constant of one plain byte.
VSP_INLINE bool passCharConst(PlainRun& run) {
  if (run.limit - run.cursor < 3 || run.cursor[2] != '\'') return false;
  const Byte c = run.cursor[1];
  if (c == '\\' || c == '\'' || c == 0 || c == endOfTextByte || isLineEnd(c)) return false;
  separateWord(run);
  copyRun(run.out, run.cursor, 3);
  run.out += 3;
  run.cursor += 3;
  wrote(run, tokCharConst);
  wideChar = false;
  return true;
}

// True if a line that begins with a byte of this class begins with plain text.
VSP_INLINE bool beginsPlainLine(Byte byteClass) {
  if (byteClass >= wholeToken) return true;
  constexpr uint64_t others = (1ULL << classSlash) | (1ULL << classHash) | (1ULL << classIllegal) |
                              (1ULL << classBackslash) | (1ULL << classEndOfText) | (1ULL << classNul) |
                              (1ULL << classBlank);
  return ((others >> byteClass) & 1) == 0;
}

// Passes the blanks and the whole comments from `next` on, where comments are of
// the common kind: both forms, not nested. Null if that ends in a place that is
// not plain.
VSP_INLINE const Byte* skipPlainSpace(const Byte* next, const Byte* limit) {
  for (;;) {
    while (*next == ' ' || *next == '\t') ++next;
    if (next + 1 >= limit || *next != '/') return next;
    if (next[1] != '*' && next[1] != '/') return next;
    if (optionImage.nestedComments || !lineCommentsAllowed()) return nullptr;
    next = findPlainCommentEnd(next, limit);
    if (next == nullptr) return nullptr;
  }
}

// A line end and what is passed over at the start of the next line, if plain text
// follows.
VSP_INLINE bool passLineEnd(PlainRun& run) {
  const Byte c = run.cursor[0];
  const Byte* next = run.cursor + 1;
  if (next < run.limit && ((c == '\r' && *next == '\n') || (c == '\n' && *next == '\r'))) ++next;
  next = skipPlainSpace(next, run.limit);
  if (next == nullptr || next >= run.limit || !beginsPlainLine(tokenClass[*next])) return false;
  output.cursor = run.out;
  advanceLine();
  run.line = currentLine;
  run.out = output.cursor;
  run.cursor = next;
  return true;
}

// Passes one token, blank or line end.
VSP_INLINE bool passOne(PlainRun& run) {
  const Byte c = *run.cursor;
  const Byte entry = tokenClass[c];
  if (entry >= wholeToken) {
    // None of these stands in a pair that would read as one.
    *run.out++ = c;
    ++run.cursor;
    wrote(run, entry - wholeToken);
    return true;
  }
  switch (entry) {
    case classBlank:
      if (c >= endOfBodyMark) return false;
      *run.out++ = c;
      ++run.cursor;
      return true;
    case classLetter:
    case classWidePrefix: return passName(run);
    case classDigit: return passNumber(run);
    case classLineEnd: return passLineEnd(run);
    case classString: return passString(run);
    case classCharConst: return passCharConst(run);
    case classColon:
    case classMinus:
    case classLess:
    case classGreater:
    case classDot: return passOther(run, entry);
    case classExclaim:
    case classPercent:
    case classAmpersand:
    case classStar:
    case classPlus:
    case classSlash:
    case classCaret:
    case classBar:
    case classEqual: return passOperator(run, entry);
    default: return false;
  }
}

VSP_HOT int passPlainText(int previous) {
  // The separators look at the byte written last, which must be in the buffer.
  if (output.cursor == output.buffer || size_t(output.limit - output.cursor) <= plainRoom) return previous;
  if (noExpandMark || pendingText != nullptr || getToken != scanToken) return previous;
  PlainRun run{inputCursor, inputLimit,  output.cursor,  output.limit - plainRoom,
               previous,    currentLine, tokenState.line};
  // A line end whose marker fills the buffer leaves it empty.
  while (run.cursor < run.limit && run.out < run.outLimit && passOne(run) && run.out != output.buffer) {
  }
  inputCursor = run.cursor;
  tokenState.line = run.tokenLine;
  output.cursor = run.out;
  if (run.out != output.buffer) output.lastChar = run.out[-1];
  return run.previous;
}
