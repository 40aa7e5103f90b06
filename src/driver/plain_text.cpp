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
#include "scanner/separators.h"
#include "input/frame.h"
#include "input/macro_text.h"
#include "macro/flat_text.h"
#include "names/names.h"
#include "options/lead_bytes.h"
#include "options/option_image.h"
#include "output/advance_line.h"
#include "output/output.h"
#include "scanner/byte_search.h"
#include "scanner/char_class.h"
#include "scanner/literals.h"
#include "scanner/numbers.h"
#include "scanner/token.h"
#include "scanner/state.h"

#if defined(__SSE2__) && !defined(VSP_SCALAR_SEARCH)
#include <emmintrin.h>
#endif

constexpr size_t windowSize = 64;  // of the text that is looked at at once

// Room that must be left for the next step: a separator, and the longest name,
// keyword or marker. Copies may write 16 bytes too many.
constexpr size_t plainRoom = 512;
static_assert(plainRoom > sizeof lineMarker.text + windowSize + 2 * 16);

// The run being passed.
struct PlainRun {
  const Byte* cursor;
  const Byte* limit;  // of the input; the byte there may not be taken
  Byte* out;
  Byte* outLimit;      // of the output, less plainRoom
  int previous;        // code of the token written last
  int32_t line;        // the current line; the counters follow in settleLines
  uint32_t markers;    // of the lines that follow, how many differ from the kept one in a digit alone
  int32_t tokenLine;   // the line of the token written last
  bool calls;          // macro calls may be passed
  bool flat;           // the text is a flat one and not the input's
  bool settled;        // a flat one whose names are plain
  uint32_t callCount;  // of the calls that have been passed
};

// Notes that a token has been written.
VSP_INLINE void noteToken(PlainRun& run, int code) {
  run.previous = code;
  run.tokenLine = run.line;
}

bool mayPassPlainText() {
  return fastPaths && (optionImage.outputFlags & readableFlag) == 0 && !keepComments() &&
         output.buffer != nullptr && !anyLeadBytes && optionImage.languageLevel != levelAnsi;
}

// Writes the blank that keeps a token which begins with a word byte apart.
VSP_INLINE void separateWord(PlainRun& run) {
  if (wordBytes[run.out[-1]] && !isNumber(run.previous)) *run.out++ = ' ';
}

// Writes a name, a number or a keyword.
VSP_INLINE void writeWord(PlainRun& run, const Byte* text, size_t length, int code) {
  separateWord(run);
  copyRun(run.out, text, length);
  run.out += length;
  noteToken(run, code);
}

static bool passCall(PlainRun& run, IdentEntry* entry, const Byte* end);

// True for the lengths of the dynamic names: those of __FILE__, as most have it, and of
// __cplusplus.
constexpr bool hasDynamicLength(uint32_t length) {
  return length == sizeof "__FILE__" - 1 || length == sizeof "__cplusplus" - 1;
}

VSP_INLINE bool passName(PlainRun& run) {
  const Byte* const text = run.cursor;
  // The byte at the limit belongs to no name.
  const Byte* end = run.limit - text >= searchRoom ? passNameBytes(text) : text;
  while (isNameByte(*end)) ++end;
  const uint32_t length = uint32_t(end - text);
  if (end >= run.limit || *end == '\\' || length > identLimit) return false;
  if (run.limit - text >= 8 && !isSpecialName(text, length)) {
    writeWord(run, text, length, tokIdent);
    run.cursor = end;
    return true;
  }
  // A dynamic name, by its length; and the prefix of a wide literal.
  if (text[0] == '_' && text[1] == '_' && hasDynamicLength(length)) return false;
  if (text[0] == 'L' && length == 1 && (*end == '"' || *end == '\'')) return false;
  IdentEntry* const entry = findKnown(makeName(text, length));
  if (entry != nullptr && entry->isMacro()) return run.calls && passCall(run, entry, end);
  const int code = entry == nullptr ? 0 : entry->tokenCode;
  if (code == tokAsm) return false;
  if (code == 0)
    writeWord(run, text, length, tokIdent);
  else
    writeWord(run, asBytes(tokenSpelling[code]), tokenSpellingLength[code], code);
  run.cursor = end;
  return true;
}

VSP_INLINE bool passNumber(PlainRun& run) {
  const Byte* end = run.cursor;
  while (isNameByte(*end)) ++end;
  const size_t length = size_t(end - run.cursor);
  if (end >= run.limit || *end == '\\' || scanner.wideChar || length > size_t{integerLimit}) return false;
  if (!isPlainInteger(run.cursor, end)) return false;
  writeWord(run, run.cursor, length, tokIntConst);
  run.cursor = end;
  return true;
}

// Writes a punctuator of `length` bytes.
VSP_INLINE bool passPunctuator(PlainRun& run, int code, size_t length) {
  if (needsSeparator(run.previous, code)) *run.out++ = ' ';
  for (; length != 0; --length) *run.out++ = *run.cursor++;
  noteToken(run, code);
  return true;
}

// A comment of the common kind that ends on its line. It counts as read here.
VSP_INLINE bool passPlainComment(PlainRun& run) {
  if (run.flat || optionImage.nestedComments || !lineCommentsAllowed()) return false;
  const Byte* const end = findPlainCommentEnd(run.cursor, run.limit);
  if (end == nullptr) return false;
  run.cursor = end;
  run.tokenLine = run.line;
  return true;
}

// One of the nine operators that may be doubled or followed by '='.
VSP_INLINE bool passOperator(PlainRun& run, int index) {
  const Byte c = run.cursor[0];
  const Byte d = run.cursor[1];
  if (run.cursor + 1 >= run.limit || d == '\\') return false;
  if (c == '/' && (d == '/' || d == '*')) return passPlainComment(run);
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
// follows it ends no string; the scanner looks at what is no ordinary byte there.
VSP_INLINE bool passString(PlainRun& run) {
  if (scanner.lastStringChar == '\\') return false;
  const Byte* end = run.cursor + 1;
  while ((end = findStringStop(end, run.limit)) < run.limit && *end == '\\' && end[1] > endOfTextByte)
    end += 2;
  if (end >= run.limit || *end != '"') return false;
  const size_t length = size_t(end + 1 - run.cursor);
  if (length >= size_t(run.outLimit - run.out)) return false;
  separateWord(run);
  copyRun(run.out, run.cursor, length);
  run.out += length;
  run.cursor = end + 1;
  noteToken(run, tokString);
  scanner.lastStringChar = -1;
  scanner.wideString = false;
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
  noteToken(run, tokCharConst);
  scanner.wideChar = false;
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

// Lets the counters of lines follow those that the run has passed.
static void settleLines(const PlainRun& run) {
  if (run.line == currentLine) return;
  totalLines += uint32_t(run.line - currentLine);
  currentLine = messageLine = lineMarker.line = run.line;
}

// Ends the output's line where the next marker is not ready.
[[gnu::noinline]] static void advanceSlowly(PlainRun& run) {
  settleLines(run);
  output.cursor = run.out;
  advanceLine();
  run.out = output.cursor;
  run.line = currentLine;
  run.markers = readyMarkers();
}

// Goes on at `next`, after a line end and what is passed over at the next line's start.
VSP_INLINE void beginLine(PlainRun& run, const Byte* next) {
  run.cursor = next;
  if (run.markers == 0) {
    advanceSlowly(run);
    return;
  }
  --run.markers;
  ++run.line;
  run.out = putNextMarker(run.out);
}

// A line end and what is passed over at the start of the next line, if plain text
// follows.
VSP_INLINE bool passLineEnd(PlainRun& run) {
  if (run.flat) return false;
  const Byte c = run.cursor[0];
  const Byte* next = run.cursor + 1;
  if (next < run.limit && ((c == '\r' && *next == '\n') || (c == '\n' && *next == '\r'))) ++next;
  next = skipPlainSpace(next, run.limit);
  if (next == nullptr || next >= run.limit || !beginsPlainLine(tokenClass[*next])) return false;
  beginLine(run, next);
  return true;
}

// Passes one token, comment, blank or line end.
VSP_INLINE bool passOne(PlainRun& run) {
  const Byte c = *run.cursor;
  const Byte entry = tokenClass[c];
  if (entry >= wholeToken) {
    // None of these stands in a pair that would read as one.
    *run.out++ = c;
    ++run.cursor;
    noteToken(run, entry - wholeToken);
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

// Sorting a window pays where plain text goes on: between the calls of a text full of
// macros it made passPlainText take twice the instructions. So some tokens come first.
constexpr uint32_t tokensBeforeWindow = 12;

#if defined(__SSE2__) && !defined(VSP_SCALAR_SEARCH)

// --- Segments ---
//
// Names, plain integers, blanks and punctuators are the bulk of a text, and are
// written as they stand. So they are passed in segments: the bytes are sorted
// sixteen at a time, a name costs a look at the filter of special names, and the
// segment is copied as a whole. An operator with another operator before it, even
// across blanks, ends the segment, for only such pairs may need a blank more.

// The bytes from `base` on, sorted: bit i stands for base[i].
struct ByteWindow {
  const Byte* base;
  uint64_t names;   // bytes of names and numbers
  uint64_t digits;  // of these the digits
  uint64_t blanks;
  uint64_t operators;  // what may stand in a pair
  uint64_t marks;      // punctuators that stand in none
};

// What must be readable from a window's base on: a copy may read 16 bytes too many.
constexpr ptrdiff_t windowRoom = windowSize + 16;

// The bytes of `block` in [low, high], as masks.
VSP_INLINE __m128i bytesBetween(__m128i block, Byte low, Byte high) {
  const __m128i above = _mm_sub_epi8(block, _mm_set1_epi8(static_cast<char>(low)));
  return _mm_cmpeq_epi8(_mm_min_epu8(above, _mm_set1_epi8(static_cast<char>(high - low))), above);
}

template <char... bytes>
VSP_INLINE __m128i bytesThatAre(__m128i block) {
  __m128i hits = _mm_setzero_si128();
  ((hits = _mm_or_si128(hits, _mm_cmpeq_epi8(block, _mm_set1_epi8(bytes)))), ...);
  return hits;
}

VSP_INLINE uint64_t maskBits(__m128i mask, unsigned shift) {
  return uint64_t(unsigned(_mm_movemask_epi8(mask))) << shift;
}

// Sorts the first `size` bytes from `base` on, and as many more as make the last sixteen full.
VSP_INLINE void openWindow(ByteWindow& window, const Byte* base, size_t size) {
  window = {base, 0, 0, 0, 0, 0};
  for (unsigned i = 0; i < size; i += 16) {
    const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(base + i));
    const __m128i folded = _mm_or_si128(block, _mm_set1_epi8(0x20));  // small letters, '{' and '}'
    const __m128i digits = bytesBetween(block, '0', '9');
    const __m128i letters = _mm_or_si128(bytesBetween(folded, 'a', 'z'), bytesThatAre<'_'>(block));
    const __m128i listMarks = bytesThatAre<',', ';'>(block);
    const __m128i brackets = _mm_or_si128(bytesThatAre<'{', '}'>(folded), bytesBetween(block, '(', ')'));
    // The ranges hold '*' to '/' and ':' to '?'.
    const __m128i ranges = _mm_or_si128(bytesBetween(block, '*', '/'), bytesBetween(block, ':', '?'));
    const __m128i operators =
        _mm_or_si128(_mm_andnot_si128(listMarks, ranges), bytesThatAre<'!', '%', '&', '|', '^'>(block));
    window.names |= maskBits(_mm_or_si128(letters, digits), i);
    window.digits |= maskBits(digits, i);
    window.blanks |= maskBits(bytesThatAre<' ', '\t'>(block), i);
    window.operators |= maskBits(operators, i);
    window.marks |= maskBits(_mm_or_si128(listMarks, brackets), i);
  }
}

// The bits below `index`, which may be windowSize.
VSP_INLINE uint64_t bitsBelow(unsigned index) {
  return index >= windowSize ? ~uint64_t{0} : (uint64_t{1} << index) - 1;
}

VSP_INLINE unsigned lowestBit(uint64_t mask) {
  return mask == 0 ? unsigned(windowSize) : unsigned(__builtin_ctzll(mask));
}

// True if the two bytes are one operator that passOne knows.
VSP_INLINE bool isOperatorPair(Byte c, Byte d) {
  if (d == '=') return c != ':' && c != '.' && c != '?';
  if (c == d) return c == '+' || c == '-' || c == '&' || c == '|' || c == ':';
  return c == '-' && d == '>';
}

// Where the operators of the segment from `from` to `end` are no longer plain.
VSP_INLINE unsigned plainOperatorsEnd(const ByteWindow& window, unsigned from, unsigned end) {
  const uint64_t part = bitsBelow(end) & (~uint64_t{0} << from);
  const uint64_t operators = window.operators & part;
  if (operators == 0) return end;
  // The bits after blanks that follow an operator: the sum carries through the blanks.
  const uint64_t blanksAfter = (operators << 1) & window.blanks;
  const uint64_t afterBlanks = (blanksAfter + window.blanks) & ~window.blanks;
  uint64_t stops = operators & afterBlanks;
  for (uint64_t seconds = operators & (operators << 1); seconds != 0; seconds &= seconds - 1) {
    const unsigned second = unsigned(__builtin_ctzll(seconds));
    const bool third = (operators << 2 & operators << 1 & (uint64_t{1} << second)) != 0;
    if (third || !isOperatorPair(window.base[second - 1], window.base[second]))
      stops |= uint64_t{1} << (second - 1);
  }
  // A point before a digit begins a number.
  for (uint64_t points = operators & (window.digits >> 1); points != 0; points &= points - 1)
    if (window.base[__builtin_ctzll(points)] == '.') stops |= points & -points;
  // What stands before the first token, and after the last one, is not in sight.
  const uint64_t tokens = part & ~window.blanks;
  if ((tokens & -tokens & operators) != 0) return from;
  unsigned stop = lowestBit(stops);
  if (stop > end) stop = end;
  const uint64_t left = tokens & bitsBelow(stop);
  if (left == 0) return stop;
  unsigned last = unsigned(windowSize - 1) - unsigned(__builtin_clzll(left));
  if ((operators >> last & 1) == 0) return stop;
  while (last > from && (operators >> (last - 1) & 1) != 0) --last;
  return last;
}

// Where the names and numbers of the segment from `from` to `end` are no longer plain.
// The byte at `end` belongs to another segment.
VSP_INLINE unsigned plainNamesEnd(const PlainRun& run, const ByteWindow& window, unsigned from,
                                  unsigned end) {
  if (run.settled) {
    // Only a name that the window cuts is left.
    if (end == windowSize)
      while (end != from && (window.names >> (end - 1) & 1) != 0) --end;
    return end;
  }
  uint64_t starts = window.names & ~(window.names << 1) & (~uint64_t{0} << from) & bitsBelow(end);
  for (; starts != 0; starts &= starts - 1) {
    const unsigned start = unsigned(__builtin_ctzll(starts));
    // A name at the window's end may go on.
    const unsigned length = lowestBit(~(window.names >> start));
    if (start + length >= windowSize) return start;
    const Byte* const text = window.base + start;
    if ((window.digits >> start & 1) != 0 ? !isPlainInteger(text, text + length)
                                          : isSpecialName(text, length))
      return start;
  }
  return end;
}

// Notes what a segment that has been passed ends in; it is no operator. Punctuators
// that stand in no pair count as one.
VSP_INLINE void noteSegment(PlainRun& run, const ByteWindow& window, unsigned from, unsigned end) {
  const uint64_t tokens = ~window.blanks & bitsBelow(end) & (~uint64_t{0} << from);
  if (tokens == 0) return;
  const unsigned last = unsigned(windowSize - 1) - unsigned(__builtin_clzll(tokens));
  if ((window.names >> last & 1) == 0) {
    noteToken(run, tokSemicolon);
    return;
  }
  const uint64_t others = ~window.names & bitsBelow(last);
  const unsigned start = others == 0 ? 0 : unsigned(windowSize) - unsigned(__builtin_clzll(others));
  noteToken(run, (window.digits >> start & 1) != 0 ? tokIntConst : tokIdent);
}

// Passes the segment at the cursor, which is in the window. False if there is none.
VSP_INLINE bool passSegment(PlainRun& run, const ByteWindow& window) {
  const unsigned from = unsigned(run.cursor - window.base);
  const uint64_t plain = window.names | window.blanks | window.operators | window.marks;
  unsigned end = lowestBit(~plain & (~uint64_t{0} << from));
  if (end < windowSize && end != from) {
    // A splice may continue the last name or operator, and a quote is set apart from a name.
    const Byte next = window.base[end];
    if (next == '\\' || next == '"' || next == '\'')
      while (end != from && ((window.names | window.operators) >> (end - 1) & 1) != 0) --end;
  }
  end = plainOperatorsEnd(window, from, end);
  const unsigned names = plainNamesEnd(run, window, from, end);
  if (names != end) end = plainOperatorsEnd(window, from, names);
  if (end == from) return false;
  if ((window.names >> from & 1) != 0) separateWord(run);
  for (unsigned i = from; i < end; i += 16) std::memcpy(run.out + (i - from), window.base + i, 16);
  run.out += end - from;
  run.cursor = window.base + end;
  noteSegment(run, window, from, end);
  return true;
}

// A line feed and the blanks after it, if the next line begins in the window with a
// segment or another line feed.
VSP_INLINE bool passLineFeed(PlainRun& run, const ByteWindow& window) {
  const bool paired = run.cursor[0] == '\r' && run.cursor[1] == '\n';
  if (run.cursor[0] != '\n' && !paired) return false;
  const unsigned from = unsigned(run.cursor - window.base) + 1 + unsigned(paired);
  if (from >= windowSize) return false;
  const unsigned next = lowestBit(~window.blanks & (~uint64_t{0} << from));
  if (next >= windowSize) return false;
  if (((window.names | window.marks) >> next & 1) == 0 && window.base[next] != '\n') return false;
  beginLine(run, window.base + next);
  return true;
}

// Passes text by segments, and what stands between them by tokens. Gives up at the
// first place that is not plain, or near the end of either buffer; true in the second
// case.
VSP_INLINE bool passSegments(PlainRun& run) {
  if (scanner.wideChar || identLimit < windowSize) return true;
  while (run.limit - run.cursor >= windowRoom) {
    ByteWindow window;
    openWindow(window, run.cursor, windowSize);
    // A name that the window cuts is passed in the next one, or by itself.
    const Byte* const last = window.base + (windowSize - 1) - __builtin_clzll(~window.names | 1);
    while (run.cursor <= last) {
      if (run.out >= run.outLimit || run.out == output.buffer) return true;
      if (!passLineFeed(run, window) && !passSegment(run, window) && !passOne(run)) return false;
    }
  }
  return true;
}

static_assert(flatReadAhead >= windowRoom);

// Passes a flat text in segments.
VSP_INLINE bool passFlatSegments(PlainRun& run, const Byte* end) {
  while (run.cursor < end) {
    const size_t left = size_t(end - run.cursor);
    ByteWindow window;
    openWindow(window, run.cursor, left < windowSize ? left : windowSize);
    const Byte* const last = window.base + (windowSize - 1);
    while (run.cursor < end && run.cursor <= last) {
      if (run.out >= run.outLimit) return false;
      if (!passSegment(run, window) && !passOne(run)) return false;
    }
  }
  return true;
}

#else

static bool passSegments(PlainRun&) {
  return true;
}

static bool passFlatSegments(PlainRun& run, const Byte* end) {
  while (run.cursor < end)
    if (run.out >= run.outLimit || !passOne(run)) return false;
  return true;
}

#endif

// --- Macro calls ---

// Writes a text that is seamless. False if the output has no room.
static bool passSeamless(PlainRun& run, const FlatText& text) {
  const size_t length = size_t(text.end - text.start);
  if (scanner.lastStringChar == '\\' || length + windowSize > size_t(run.outLimit - run.out)) return false;
  if (isNameByte(*text.start) || *text.start == '"') separateWord(run);
  for (size_t i = 0; i < length; i += 16) std::memcpy(run.out + i, text.start + i, 16);
  run.out += length;
  const Byte* last = text.end;
  while (last != text.start && isNameByte(last[-1])) --last;
  noteToken(run, last == text.end ? tokSemicolon : isDigit(*last) ? tokIntConst : tokIdent);
  return true;
}

// Passes a flat text, in segments where no call is near. False if it is not plain, or if the
// output has no room; nothing that has been written counts then.
static bool passFlatText(PlainRun& run, const FlatText& text) {
  const Byte* const end = text.end;
  for (uint32_t count = text.calls ? tokensBeforeWindow : 0; count != 0 && run.cursor < end; --count) {
    const uint32_t calls = run.callCount;
    if (run.out >= run.outLimit || !passOne(run)) return false;
    if (calls != run.callCount) count = tokensBeforeWindow + 1;
  }
  return passFlatSegments(run, end);
}

// Passes a flat text that is not seamless. What has been written before all of it was seen
// to be plain is taken back by writing over it.
static bool passInner(PlainRun& run, const FlatText& text) {
  PlainRun inner = run;
  inner.cursor = text.start;
  inner.limit = text.end + 1;
  inner.flat = true;
  inner.settled = text.settled;
  inner.calls &= !text.pasted;
  if (!passFlatText(inner, text)) return false;
  run.out = inner.out;
  run.previous = inner.previous;
  return true;
}

// Passes a call of the macro `entry`, whose name ends at `end`.
[[gnu::noinline]] static bool passCall(PlainRun& run, IdentEntry* entry, const Byte* end) {
  FlatText text;
  const Byte* const limit = run.flat ? run.limit - 1 + flatReadAhead : run.limit;
  const Byte* const next = flattenCall(entry, end, limit, text);
  if (next == nullptr) return false;
  const bool passed = text.seamless ? passSeamless(run, text) : passInner(run, text);
  endFlatText();
  if (!passed) return false;
  run.cursor = next;
  run.tokenLine = run.line;
  ++run.callCount;
  return true;
}

// Passes up to `count` tokens. False if the text stops being plain, or a buffer ends.
VSP_INLINE bool passTokens(PlainRun& run, uint32_t count) {
  for (; count != 0; --count) {
    // A line end whose marker fills the buffer leaves it empty.
    if (run.cursor >= run.limit || run.out >= run.outLimit || run.out == output.buffer) return false;
    if (!passOne(run)) return false;
  }
  return true;
}

VSP_HOT int passPlainText(int previous) {
  // The separators look at the byte written last, which must be in the buffer.
  if (output.cursor == output.buffer || size_t(output.limit - output.cursor) <= plainRoom) return previous;
  if (input.noExpandMark || input.pendingText != nullptr) return previous;
  const bool calls =
      input.top != nullptr && input.top->kind == frameFile && !scanner.wideChar && mayFlattenCalls();
  PlainRun run{input.cursor, input.limit, output.cursor,  output.limit - plainRoom,
               previous,     currentLine, readyMarkers(), tokenState.line,
               calls,        false,       false,          0};
  if (passTokens(run, tokensBeforeWindow) && passSegments(run)) passTokens(run, UINT32_MAX);
  settleLines(run);
  input.cursor = run.cursor;
  tokenState.line = run.tokenLine;
  output.cursor = run.out;
  if (run.out != output.buffer) output.lastChar = run.out[-1];
  return run.previous;
}
