// Searches for the few bytes that end a run of text nobody looks at.
//
// Sixteen bytes at a time where the processor offers it, with a scalar twin.
// Wide search pays only where stops are rare: comments and skipped lines.

#pragma once

#include "base.h"

#if defined(__SSE2__) && !defined(VSP_SCALAR_SEARCH)
#include <emmintrin.h>
#endif

// The first byte of [cursor, limit) that is '*', '/', a line end or Ctrl-Z, or
// `limit`: what block comments stop at.
const Byte* findCommentStop(const Byte* cursor, const Byte* limit);

// The first byte of [cursor, limit) that is a line end, '\\', Ctrl-Z, or `limit`:
// what line comments stop at, without double-byte characters.
const Byte* findLineCommentStop(const Byte* cursor, const Byte* limit);

// The first byte of [cursor, limit) that is a line end, '\\', '/', a quote or
// Ctrl-Z, or `limit`: what skipped lines stop at, without double-byte characters.
const Byte* findSkippedLineStop(const Byte* cursor, const Byte* limit);

// Text passed, and the line ends in it.
struct PassedText {
  const Byte* end;
  uint32_t lines;
};

// Passes the text of a block comment from `cursor` on: up to a '*' with '/' or '\\'
// after it, to Ctrl-Z, or to the last byte before `limit`. Two different line ends side
// by side are one, and are not divided. A text of mixed line ends may end early.
PassedText passCommentText(const Byte* cursor, const Byte* limit);

// The same for skipped text: up to a block comment, a splice, Ctrl-Z, or the blank or
// line end before a '#'. What a line comment holds is nothing else.
PassedText passSkippedText(const Byte* cursor, const Byte* limit);

// The end of the comment that begins at `cursor`, with its two bytes before
// `limit`: after a block comment's close, or at a line comment's line end. Null
// if it does not end on its line and before `limit`, or if it is a line
// comment with a backslash. Comments do not nest here.
const Byte* findPlainCommentEnd(const Byte* cursor, const Byte* limit);

// The first byte of [cursor, limit) that is '"', '\\', Ctrl-Z, or `limit`: what
// strings stop at, without double-byte characters.
const Byte* findStringStop(const Byte* cursor, const Byte* limit);

// The two searches below begin where the caller goes on byte by byte; they may leave some bytes to
// it, and without the wide search they leave all. They are for tokens: these differ in
// length all the time, so that a loop over their bytes is predicted badly. (With it, lists of
// rows took 7 % longer.)

// What must be readable from the start of a search on.
constexpr ptrdiff_t searchRoom = 16;

#if defined(__SSE2__) && !defined(VSP_SCALAR_SEARCH)

// The bytes of `block` in [low, high], as masks.
VSP_INLINE __m128i bytesInRange(__m128i block, Byte low, Byte high) {
  const __m128i above = _mm_sub_epi8(block, _mm_set1_epi8(static_cast<char>(low)));
  return _mm_cmpeq_epi8(_mm_min_epu8(above, _mm_set1_epi8(static_cast<char>(high - low))), above);
}

// Passes the bytes of a name or number; searchRoom bytes can be read.
VSP_INLINE const Byte* passNameBytes(const Byte* text) {
  const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text));
  const __m128i letters = bytesInRange(_mm_or_si128(block, _mm_set1_epi8(0x20)), 'a', 'z');
  const __m128i names = _mm_or_si128(_mm_or_si128(letters, bytesInRange(block, '0', '9')),
                                     _mm_cmpeq_epi8(block, _mm_set1_epi8('_')));
  return text + __builtin_ctz(~unsigned(_mm_movemask_epi8(names)));
}

// Passes printed characters other than quotes and backslashes.
VSP_INLINE const Byte* passPlainCharacters(const Byte* text, const Byte* limit) {
  while (limit - text >= searchRoom) {
    const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text));
    const __m128i quotes =
        _mm_or_si128(_mm_cmpeq_epi8(block, _mm_set1_epi8('"')), _mm_cmpeq_epi8(block, _mm_set1_epi8('\'')));
    const __m128i stops = _mm_or_si128(quotes, _mm_cmpeq_epi8(block, _mm_set1_epi8('\\')));
    const __m128i plain = _mm_andnot_si128(stops, bytesInRange(block, ' ', '~'));
    const unsigned mask = unsigned(_mm_movemask_epi8(plain));
    text += __builtin_ctz(~mask);
    if (mask != 0xFFFF) break;
  }
  return text;
}

#else

VSP_INLINE const Byte* passNameBytes(const Byte* text) {
  return text;
}

VSP_INLINE const Byte* passPlainCharacters(const Byte* text, const Byte*) {
  return text;
}

#endif
