// Each search is the same loop over a set of bytes; the set is a template
// parameter, so the compares are unrolled.

#include "scanner/byte_search.h"

#include "input/macro_text.h"

#if defined(__SSE2__) && !defined(VSP_SCALAR_SEARCH)
#include <emmintrin.h>
#endif

template <Byte... stops>
static constexpr bool isStop(Byte c) {
  return ((c == stops) || ...);
}

template <Byte... stops>
static const Byte* findStop(const Byte* cursor, const Byte* limit) {
#if defined(__SSE2__) && !defined(VSP_SCALAR_SEARCH)
  while (limit - cursor >= 16) {
    const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(cursor));
    __m128i hits = _mm_setzero_si128();
    ((hits = _mm_or_si128(hits, _mm_cmpeq_epi8(block, _mm_set1_epi8(static_cast<char>(stops))))), ...);
    const unsigned mask = unsigned(_mm_movemask_epi8(hits));
    if (mask != 0) return cursor + __builtin_ctz(mask);
    cursor += 16;
  }
#endif
  while (cursor < limit && !isStop<stops...>(*cursor)) ++cursor;
  return cursor;
}

// --- Texts of many lines ---

// True if the byte `c`, with `d` after it, ends the text.
static constexpr bool stopsComment(Byte c, Byte d) {
  return (c == '*' && (d == '/' || d == '\\')) || c == endOfTextByte;
}
static constexpr bool stopsSkipped(Byte c, Byte d) {
  return (c == '/' && d == '*') || (c == '\\' && isLineEnd(d)) ||
         (d == '#' && (c <= ' ' || c == endOfBodyMark)) || c == endOfTextByte;
}

using StopTest = bool (*)(Byte, Byte);

// The other byte of a pair that is one line end.
constexpr Byte pairedWith(Byte lineEnd) {
  return lineEnd == '\n' ? '\r' : '\n';
}

// Passes text whose lines end in `lineEnd`, alone or with the other byte before it,
// byte by byte.
template <StopTest stops, Byte lineEnd>
static PassedText passByBytes(const Byte* const start, const Byte* limit) {
  constexpr Byte other = pairedWith(lineEnd);
  const Byte* cursor = start;
  uint32_t lines = 0;
  for (; cursor + 1 < limit && !stops(cursor[0], cursor[1]); ++cursor) {
    if (cursor[0] == other && cursor[1] != lineEnd) break;
    if (cursor[0] != lineEnd) continue;
    if (cursor[1] == other && (cursor == start || cursor[-1] != other)) break;
    ++lines;
  }
  // A pair is passed as a whole, or not at all.
  if (cursor > start && cursor[-1] == other) --cursor;
  return {cursor, lines};
}

#if defined(__SSE2__) && !defined(VSP_SCALAR_SEARCH)

static __m128i loadBlock(const Byte* bytes) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
}

// The bytes of `block` that are one of the stops, as masks of eight bits.
template <Byte... stops>
static __m128i bytesThatAre(__m128i block) {
  __m128i hits = _mm_setzero_si128();
  ((hits = _mm_or_si128(hits, _mm_cmpeq_epi8(block, _mm_set1_epi8(static_cast<char>(stops))))), ...);
  return hits;
}

// The bytes of a block that may be stops, with the block that begins one byte later:
// each '#' counts as one.
template <StopTest stops>
VSP_INLINE __m128i possibleStopsIn(__m128i block, __m128i next) {
  const __m128i ends = bytesThatAre<endOfTextByte>(block);
  if constexpr (stops == stopsComment)
    return _mm_or_si128(_mm_and_si128(bytesThatAre<'*'>(block), bytesThatAre<'/', '\\'>(next)), ends);
  const __m128i comments = _mm_and_si128(bytesThatAre<'/'>(block), bytesThatAre<'*'>(next));
  const __m128i splices = _mm_and_si128(bytesThatAre<'\\'>(block), bytesThatAre<'\n', '\r'>(next));
  return _mm_or_si128(_mm_or_si128(comments, splices), _mm_or_si128(bytesThatAre<'#'>(next), ends));
}

// The stops of a block as a mask: a '#' is one after a blank alone.
template <StopTest stops>
static uint32_t stopsIn(__m128i block, __m128i next, __m128i possible) {
  if constexpr (stops == stopsComment) return uint32_t(_mm_movemask_epi8(possible));
  const __m128i blanks = _mm_or_si128(_mm_cmpeq_epi8(_mm_min_epu8(block, _mm_set1_epi8(' ')), block),
                                      bytesThatAre<endOfBodyMark>(block));
  const __m128i otherHashes = _mm_andnot_si128(blanks, bytesThatAre<'#'>(next));
  return uint32_t(_mm_movemask_epi8(_mm_andnot_si128(otherHashes, possible)));
}

// True if each byte of `others` is followed by a line end of the text's kind, and none
// stands after one that is alone. `otherBefore` says that one stands before the
// block; it is set to the same for the next block.
static bool arePaired(uint32_t others, uint32_t ends, bool loneEndBefore, bool& otherBefore) {
  const uint32_t pairedEnds = (others << 1) | uint32_t(otherBefore);
  otherBefore = (others & 0x8000) != 0;
  const uint32_t loneEnds = ((ends & ~pairedEnds) << 1) | uint32_t(loneEndBefore);
  return (pairedEnds & 0xFFFF & ~ends) == 0 && (others & loneEnds) == 0;
}

// The count that is kept in two halves.
static uint32_t linesIn(__m128i sums) {
  return uint32_t(_mm_cvtsi128_si32(_mm_add_epi64(sums, _mm_unpackhi_epi64(sums, sums))));
}

static uint32_t countBits(uint32_t mask) {
  uint32_t count = 0;
  for (; mask != 0; mask &= mask - 1) ++count;
  return count;
}

// Passes blocks with nothing to be looked at, two at a time, and adds their line ends
// to `sums`: 1.3 instructions a byte of comments, where one at a time took 1.7. In
// skipped text one of two has something, and it doesn't pay.
template <StopTest stops, Byte lineEnd>
VSP_INLINE const Byte* passQuietBlocks(const Byte* cursor, const Byte* limit, __m128i& sums) {
  constexpr Byte other = pairedWith(lineEnd);
  const __m128i zero = _mm_setzero_si128();
  for (; limit - cursor > 32; cursor += 32) {
    const __m128i first = loadBlock(cursor);
    const __m128i second = loadBlock(cursor + 16);
    const __m128i possible = _mm_or_si128(possibleStopsIn<stops>(first, loadBlock(cursor + 1)),
                                          possibleStopsIn<stops>(second, loadBlock(cursor + 17)));
    const __m128i others = _mm_or_si128(bytesThatAre<other>(first), bytesThatAre<other>(second));
    if (_mm_movemask_epi8(_mm_or_si128(possible, others)) != 0) break;
    const __m128i ends = _mm_add_epi8(bytesThatAre<lineEnd>(first), bytesThatAre<lineEnd>(second));
    sums = _mm_add_epi64(sums, _mm_sad_epu8(_mm_sub_epi8(zero, ends), zero));
  }
  return cursor;
}

// Sixteen bytes at a time, line ends counted in the same pass, where finding and
// counting each one took six instructions a byte. What needs a closer look is left to
// passByBytes.
template <StopTest stops, Byte lineEnd>
static PassedText passText(const Byte* const start, const Byte* limit) {
  constexpr Byte other = pairedWith(lineEnd);
  const auto isLoneEnd = [start](const Byte* at) {
    return at >= start && *at == lineEnd && !(at > start && at[-1] == other);
  };
  const Byte* cursor = start;
  const __m128i zero = _mm_setzero_si128();
  __m128i sums = zero;
  bool otherBefore = false;
  bool quiet = true;  // the block before had nothing to be looked at
  for (; limit - cursor > 16; cursor += 16) {
    if (stops == stopsComment && quiet) cursor = passQuietBlocks<stops, lineEnd>(cursor, limit, sums);
    if (limit - cursor <= 16) break;
    const __m128i block = loadBlock(cursor);
    const __m128i next = loadBlock(cursor + 1);
    const __m128i ends = bytesThatAre<lineEnd>(block);
    const __m128i others = bytesThatAre<other>(block);
    const __m128i possible = possibleStopsIn<stops>(block, next);
    quiet = _mm_movemask_epi8(_mm_or_si128(others, possible)) == 0 && !otherBefore;
    if (!quiet) {
      const uint32_t endBits = uint32_t(_mm_movemask_epi8(ends));
      const uint32_t otherBits = uint32_t(_mm_movemask_epi8(others));
      const uint32_t stop = stopsIn<stops>(block, next, possible);
      if (stop != 0) {
        const uint32_t upToStop = stop ^ (stop - 1);
        if (otherBefore || (otherBits & upToStop) != 0) break;
        return {cursor + __builtin_ctz(stop), linesIn(sums) + countBits(endBits & (upToStop >> 1))};
      }
      if (!arePaired(otherBits, endBits, isLoneEnd(cursor - 1), otherBefore)) break;
    }
    sums = _mm_add_epi64(sums, _mm_sad_epu8(_mm_sub_epi8(zero, ends), zero));
  }
  uint32_t lines = linesIn(sums);
  // A pair is passed as a whole, or not at all.
  if (cursor > start && cursor[-1] == other) {
    --cursor;
  } else if (*cursor == other && isLoneEnd(cursor - 1)) {
    --cursor;
    --lines;
  }
  const PassedText rest = passByBytes<stops, lineEnd>(cursor, limit);
  return {rest.end, lines + rest.lines};
}

#else

template <StopTest stops, Byte lineEnd>
static PassedText passText(const Byte* cursor, const Byte* limit) {
  return passByBytes<stops, lineEnd>(cursor, limit);
}

#endif

// Passes lines that end in line feeds, and those that end in carriage returns after them.
template <StopTest stops>
VSP_INLINE PassedText passLines(const Byte* cursor, const Byte* limit) {
  const PassedText feeds = passText<stops, '\n'>(cursor, limit);
  const Byte* const end = feeds.end;
  if (end + 1 >= limit || !isLineEnd(*end) || stops(end[0], end[1])) return feeds;
  const PassedText returns = passText<stops, '\r'>(end, limit);
  return {returns.end, feeds.lines + returns.lines};
}

PassedText passCommentText(const Byte* cursor, const Byte* limit) {
  return passLines<stopsComment>(cursor, limit);
}

PassedText passSkippedText(const Byte* cursor, const Byte* limit) {
  return passLines<stopsSkipped>(cursor, limit);
}

// --- Searches for one byte ---

const Byte* findCommentStop(const Byte* cursor, const Byte* limit) {
  return findStop<'*', '/', '\n', '\r', endOfTextByte>(cursor, limit);
}

const Byte* findLineCommentStop(const Byte* cursor, const Byte* limit) {
  return findStop<'\n', '\r', '\\', endOfTextByte>(cursor, limit);
}

const Byte* findSkippedLineStop(const Byte* cursor, const Byte* limit) {
  return findStop<'\n', '\r', '\\', '/', '"', '\'', endOfTextByte>(cursor, limit);
}

const Byte* findStringStop(const Byte* cursor, const Byte* limit) {
  return findStop<'"', '\\', endOfTextByte>(cursor, limit);
}

const Byte* findPlainCommentEnd(const Byte* cursor, const Byte* limit) {
  if (cursor[1] == '/') {
    const Byte* const end = findLineCommentStop(cursor + 2, limit);
    return end < limit && (*end == '\n' || *end == '\r') ? end : nullptr;
  }
  for (cursor += 2;; ++cursor) {
    cursor = findCommentStop(cursor, limit);
    if (cursor + 1 >= limit || (*cursor != '*' && *cursor != '/')) return nullptr;
    if (cursor[0] == '*' && cursor[1] == '/') return cursor + 2;
  }
}
