// Each search is the same loop over a set of bytes; the set is a template
// parameter, so the compares are unrolled.

#include "scanner/byte_search.h"

#if defined(__SSE2__) && !defined(VSP_SCALAR_SEARCH)
#include <emmintrin.h>
#endif

template <Byte... stops>
static bool isStop(Byte c) {
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
