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

#if defined(__SSE2__) && !defined(VSP_SCALAR_SEARCH)
#include <emmintrin.h>
#endif

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

// The longest number passed as plain text.
constexpr ptrdiff_t integerLimit = 16;

// True for a run of name bytes that is an ordinary integer as a whole: decimal, or
// hexadecimal without a suffix. A point after it would belong to it too.
VSP_INLINE bool isPlainInteger(const Byte* text, const Byte* end) {
  if (*end == '.' || end - text > integerLimit) return false;
  if (*text == '0' && end - text > 1) {
    if ((text[1] | 0x20) != 'x') return false;
    for (text += 2; text != end && (isDigit(*text) || Byte((*text | 0x20) - 'a') < 6); ++text) {
    }
  } else {
    while (text != end && isDigit(*text)) ++text;
  }
  return text == end;
}

VSP_INLINE bool passNumber(PlainRun& run) {
  const Byte* end = run.cursor;
  while (isNameByte(*end)) ++end;
  const size_t length = size_t(end - run.cursor);
  if (end >= run.limit || *end == '\\' || wideChar || length > size_t{integerLimit}) return false;
  if (!isPlainInteger(run.cursor, end)) return false;
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

// A string that ends in the buffer. A backslash is written as it stands, and what
// follows it ends no string.
VSP_INLINE bool passString(PlainRun& run) {
  if (lastStringChar == '\\') return false;
  const Byte* end = run.cursor + 1;
  while ((end = findStringStop(end, run.limit)) < run.limit && *end == '\\' && end[1] != endOfTextByte)
    end += 2;
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

#if defined(__SSE2__) && !defined(VSP_SCALAR_SEARCH)

// --- Stretches ---
//
// Names, plain integers, blanks and the punctuators that stand in no pair are the
// bulk of a text, and are written as they stand. So they are passed in stretches:
// the bytes are sorted sixteen at a time, a name costs a look at the filter of
// special names, and the stretch is copied as a whole.

// The bytes from `base` on, sorted: bit i stands for base[i].
struct ByteWindow {
  const Byte* base;
  uint64_t names;     // bytes of names and numbers
  uint64_t wordless;  // blanks and punctuators that stand in no pair
};

constexpr size_t windowSize = 64;

// What must be readable from a window's base on: a copy may read 16 bytes too many.
constexpr ptrdiff_t windowRoom = windowSize + 16;

// What must have been read before a window, for the last bytes of a short name.
constexpr ptrdiff_t windowLead = 8;

// The bytes of `block` in [low, high], as masks.
static __m128i bytesBetween(__m128i block, Byte low, Byte high) {
  const __m128i above = _mm_sub_epi8(block, _mm_set1_epi8(static_cast<char>(low)));
  return _mm_cmpeq_epi8(_mm_min_epu8(above, _mm_set1_epi8(static_cast<char>(high - low))), above);
}

static __m128i bytesEqual(__m128i block, char c) {
  return _mm_cmpeq_epi8(block, _mm_set1_epi8(c));
}

static __m128i either(__m128i a, __m128i b) {
  return _mm_or_si128(a, b);
}

static ByteWindow openWindow(const Byte* base) {
  ByteWindow window{base, 0, 0};
  for (unsigned i = 0; i < windowSize; i += 16) {
    const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(base + i));
    const __m128i folded = _mm_or_si128(block, _mm_set1_epi8(0x20));  // small letters, '{' and '}'
    const __m128i names =
        either(either(bytesBetween(folded, 'a', 'z'), bytesBetween(block, '0', '9')), bytesEqual(block, '_'));
    const __m128i brackets =
        either(either(bytesEqual(folded, '{'), bytesEqual(folded, '}')), bytesBetween(block, '(', ')'));
    const __m128i others = either(either(bytesEqual(block, ' '), bytesEqual(block, '\t')),
                                  either(bytesEqual(block, ','), bytesEqual(block, ';')));
    window.names |= uint64_t(unsigned(_mm_movemask_epi8(names))) << i;
    window.wordless |= uint64_t(unsigned(_mm_movemask_epi8(either(brackets, others)))) << i;
  }
  return window;
}

// The end of the longest plain stretch of the window from `from` to `end`, which is
// the index of a byte that belongs to none, or windowSize.
VSP_INLINE unsigned plainStretchEnd(const ByteWindow& window, unsigned from, unsigned end) {
  uint64_t starts = window.names & ~(window.names << 1) & (~uint64_t{0} << from);
  if (end < windowSize) starts &= (uint64_t{1} << end) - 1;
  for (; starts != 0; starts &= starts - 1) {
    const unsigned start = unsigned(__builtin_ctzll(starts));
    const uint64_t rest = ~(window.names >> start);
    const unsigned length = unsigned(__builtin_ctzll(rest));
    // A name at the window's end may go on.
    if (start + length >= windowSize) return start;
    const Byte* const text = window.base + start;
    if (isDigit(*text) ? !isPlainInteger(text, text + length) : isSpecialName(text, length)) return start;
    if (start + length == end) {
      // A splice may continue the name, and a quote is set apart from it.
      const Byte next = text[length];
      if (next == '\\' || next == '"' || next == '\'') return start;
    }
  }
  return end;
}

// Notes what a stretch that has been passed ends in. Punctuators that stand in no
// pair count as one.
VSP_INLINE void noteStretch(PlainRun& run, const ByteWindow& window, unsigned from, unsigned end) {
  while (end != from && (window.base[end - 1] == ' ' || window.base[end - 1] == '\t')) --end;
  if (end == from) return;
  if ((window.names >> (end - 1) & 1) == 0) {
    wrote(run, tokSemicolon);
    return;
  }
  const uint64_t after = ~window.names << (windowSize - end);
  const unsigned length = after == 0 ? end : unsigned(__builtin_clzll(after));
  wrote(run, isDigit(window.base[end - length]) ? tokIntConst : tokIdent);
}

// Passes the stretch at the cursor, which is in the window. False if there is none.
VSP_INLINE bool passStretch(PlainRun& run, const ByteWindow& window) {
  const unsigned from = unsigned(run.cursor - window.base);
  const uint64_t others = ~(window.names | window.wordless) >> from;
  const unsigned end = others == 0 ? unsigned(windowSize) : from + unsigned(__builtin_ctzll(others));
  const unsigned stop = end == from ? from : plainStretchEnd(window, from, end);
  if (stop == from) return false;
  if ((window.names >> from & 1) != 0) separateWord(run);
  for (unsigned i = from; i < stop; i += 16) std::memcpy(run.out + (i - from), window.base + i, 16);
  run.out += stop - from;
  run.cursor = window.base + stop;
  noteStretch(run, window, from, stop);
  return true;
}

// Passes text by stretches, and what stands between them by tokens. Gives up at the
// first place that is not plain, or near the end of either buffer; true in the second
// case.
static bool passStretches(PlainRun& run) {
  if (wideChar || identLimit < windowSize) return true;
  if (run.cursor - inputTop->buffer < windowLead) return true;
  ByteWindow window{run.cursor - windowSize, 0, 0};
  while (run.out < run.outLimit) {
    if (run.cursor - window.base >= ptrdiff_t(windowSize)) {
      if (run.limit - run.cursor < windowRoom) return true;
      window = openWindow(run.cursor);
    }
    if (passStretch(run, window)) continue;
    const Byte* const before = run.cursor;
    if (before > window.base && ((window.names >> (before - window.base)) & 1) != 0) {
      // Perhaps a name that the window cuts.
      if (run.limit - run.cursor < windowRoom) return true;
      window = openWindow(run.cursor);
      if (passStretch(run, window)) continue;
    }
    if (!passOne(run)) return false;
    if (run.out == output.buffer) return false;
  }
  return true;
}

#else

static bool passStretches(PlainRun&) {
  return true;
}

#endif

VSP_HOT int passPlainText(int previous) {
  // The separators look at the byte written last, which must be in the buffer.
  if (output.cursor == output.buffer || size_t(output.limit - output.cursor) <= plainRoom) return previous;
  if (noExpandMark || pendingText != nullptr || getToken != scanToken) return previous;
  PlainRun run{inputCursor, inputLimit,  output.cursor,  output.limit - plainRoom,
               previous,    currentLine, tokenState.line};
  // A line end whose marker fills the buffer leaves it empty.
  if (passStretches(run)) {
    while (run.cursor < run.limit && run.out < run.outLimit && run.out != output.buffer && passOne(run)) {
    }
  }
  inputCursor = run.cursor;
  tokenState.line = run.tokenLine;
  output.cursor = run.out;
  if (run.out != output.buffer) output.lastChar = run.out[-1];
  return run.previous;
}
