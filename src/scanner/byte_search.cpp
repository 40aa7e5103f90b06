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
  return (c == '/' && (d == '/' || d == '*')) || (c == '\\' && isLineEnd(d)) ||
         (d == '#' && (c <= ' ' || c == endOfBodyMark)) || c == endOfTextByte;
}

using StopTest = bool (*)(Byte, Byte);

// Passes the text byte by byte.
template <StopTest stops>
static PassedText passByBytes(const Byte* const start, const Byte* limit) {
  const Byte* cursor = start;
  uint32_t lines = 0;
  for (; cursor + 1 < limit && !stops(cursor[0], cursor[1]); ++cursor) {
    if (cursor[0] == '\r' && cursor[1] != '\n') break;
    if (cursor[0] != '\n') continue;
    if (cursor[1] == '\r' && (cursor == start || cursor[-1] != '\r')) break;
    ++lines;
  }
  // A pair is passed as a whole, or not at all.
  if (cursor > start && cursor[-1] == '\r') --cursor;
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

// The stops of a block, with the block that begins one byte later.
template <StopTest stops>
static __m128i stopsIn(__m128i block, const Byte* nextBytes) {
  const __m128i next = loadBlock(nextBytes);
  if constexpr (stops == stopsComment)
    return _mm_or_si128(_mm_and_si128(bytesThatAre<'*'>(block), bytesThatAre<'/', '\\'>(next)),
                        bytesThatAre<endOfTextByte>(block));
  const __m128i blanks = _mm_or_si128(_mm_cmpeq_epi8(_mm_min_epu8(block, _mm_set1_epi8(' ')), block),
                                      bytesThatAre<endOfBodyMark>(block));
  const __m128i comments = _mm_and_si128(bytesThatAre<'/'>(block), bytesThatAre<'/', '*'>(next));
  const __m128i splices = _mm_and_si128(bytesThatAre<'\\'>(block), bytesThatAre<'\n', '\r'>(next));
  const __m128i hashes = _mm_and_si128(blanks, bytesThatAre<'#'>(next));
  return _mm_or_si128(_mm_or_si128(comments, splices),
                      _mm_or_si128(hashes, bytesThatAre<endOfTextByte>(block)));
}

// True if each carriage return of the block is followed by a line feed, and none
// stands after a line feed of its own. `returnBefore` says that one stands before the
// block; it is set to the same for the next block.
static bool areReturnsPaired(uint32_t returns, uint32_t feeds, bool loneFeedBefore, bool& returnBefore) {
  const uint32_t pairedFeeds = (returns << 1) | uint32_t(returnBefore);
  returnBefore = (returns & 0x8000) != 0;
  const uint32_t loneFeeds = ((feeds & ~pairedFeeds) << 1) | uint32_t(loneFeedBefore);
  return (pairedFeeds & 0xFFFF & ~feeds) == 0 && (returns & loneFeeds) == 0;
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

// Sixteen bytes at a time, line feeds counted in the same pass: 1.3 instructions a
// byte, where finding and counting each line end took six. What needs a closer look
// is left to passByBytes.
template <StopTest stops>
static PassedText passText(const Byte* const start, const Byte* limit) {
  const Byte* cursor = start;
  const __m128i zero = _mm_setzero_si128();
  __m128i sums = zero;
  bool returnBefore = false;
  for (; limit - cursor > 16; cursor += 16) {
    const __m128i block = loadBlock(cursor);
    const __m128i feeds = bytesThatAre<'\n'>(block);
    const __m128i returns = bytesThatAre<'\r'>(block);
    const __m128i stopping = stopsIn<stops>(block, cursor + 1);
    if (_mm_movemask_epi8(_mm_or_si128(returns, stopping)) != 0 || returnBefore) {
      const uint32_t stop = uint32_t(_mm_movemask_epi8(stopping));
      if (stop != 0) {
        const uint32_t upToStop = stop ^ (stop - 1);
        if (returnBefore || (uint32_t(_mm_movemask_epi8(returns)) & upToStop) != 0) break;
        const uint32_t lines =
            linesIn(sums) + countBits(uint32_t(_mm_movemask_epi8(feeds)) & (upToStop >> 1));
        return {cursor + __builtin_ctz(stop), lines};
      }
      const bool loneFeed =
          cursor > start && cursor[-1] == '\n' && !(cursor - 1 > start && cursor[-2] == '\r');
      if (!areReturnsPaired(uint32_t(_mm_movemask_epi8(returns)), uint32_t(_mm_movemask_epi8(feeds)),
                            loneFeed, returnBefore))
        break;
    }
    sums = _mm_add_epi64(sums, _mm_sad_epu8(_mm_sub_epi8(zero, feeds), zero));
  }
  uint32_t lines = linesIn(sums);
  // A pair is passed as a whole, or not at all.
  if (cursor > start && cursor[-1] == '\r') {
    --cursor;
  } else if (cursor > start && cursor[-1] == '\n' && *cursor == '\r' &&
             !(cursor - 1 > start && cursor[-2] == '\r')) {
    --cursor;
    --lines;
  }
  const PassedText rest = passByBytes<stops>(cursor, limit);
  return {rest.end, lines + rest.lines};
}

#else

template <StopTest stops>
static PassedText passText(const Byte* cursor, const Byte* limit) {
  return passByBytes<stops>(cursor, limit);
}

#endif

PassedText passCommentText(const Byte* cursor, const Byte* limit) {
  return passText<stopsComment>(cursor, limit);
}

PassedText passSkippedText(const Byte* cursor, const Byte* limit) {
  return passText<stopsSkipped>(cursor, limit);
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
