// Flat texts: the collection of arguments in place, their expansion, and the body with them.
//
// Two stacks of bytes hold what is made: the flat texts, one for each macro that is being
// read, and the texts of arguments. An argument that holds no macro's name needs neither; it
// is used where it was written. The texts of a call's arguments go as soon as the body has
// been written with them.
//
// Marks are not needed. A name would have to carry one if its macro is hidden where the
// argument is expanded, and no longer where it is read again: if the macro has been called in
// the argument itself. That makes the call one for the ordinary way.

#include "macro/flat_text.h"

#include <array>
#include <cstring>

#include "input/macro_text.h"
#include "names/names.h"
#include "output/output.h"
#include "scanner/numbers.h"
#include "scanner/token_text.h"

#if defined(__SSE2__) && !defined(VSP_SCALAR_SEARCH)

#include <emmintrin.h>

// The longest name in a flat text, which must count as a whole.
constexpr uint32_t flatNameLimit = 64;

// The parameters that a macro may have, and the macros that may be read at once.
constexpr uint32_t flatParameterLimit = 32;
constexpr uint32_t flatDepthLimit = 48;

// A call whose texts need more is left to the ordinary way, and so is one whose arguments
// could fill tokenText, where each byte may have a mark in front.
constexpr size_t flatSize = 0x10000;
constexpr size_t argumentSize = tokenTextSize / 2 - 256;

static constinit Byte flatBytes[flatSize + flatReadAhead] = {};
static constinit Byte argumentBytes[argumentSize + flatReadAhead] = {};
static constinit Byte* argumentTop = argumentBytes;

// A macro whose flat text is being read.
struct FlatLevel {
  Byte* text;  // where its flat text begins
  IdentEntry* entry;
  const Byte* macroBody;  // goes back into the entry
};
static constinit FlatLevel levels[flatDepthLimit] = {};
static constinit uint32_t depth = 0;
static constinit Byte* flatTop = flatBytes;

// Calls whose arguments are being collected, and the depth where the first of them began.
static constinit uint32_t callsAround = 0;
static constinit uint32_t depthOfCalls = 0;
constexpr uint32_t callsAroundLimit = 48;

bool mayFlattenCalls() {
  return identLimit >= flatNameLimit && tokenText.end == tokenText.bytes;
}

// True if the macro has been called in the argument that is being expanded.
static bool isHiddenInArgument(const IdentEntry* entry) {
  for (uint32_t i = depthOfCalls; i < depth; ++i)
    if (levels[i].entry == entry) return true;
  return false;
}

// --- Sorting of bytes ---

// Sixteen bytes, sorted: bit i stands for byte i.
struct FlatBlock {
  uint32_t names;   // bytes of names and numbers
  uint32_t blanks;  // spaces
  uint32_t events;  // what is looked at one by one, see passEvent, and what is not plain
};

constexpr unsigned blockSize = 16;

// What must be readable from a block on: a name that begins in it is read as eight bytes.
constexpr ptrdiff_t blockRoom = 2 * blockSize;

VSP_INLINE __m128i isByte(__m128i block, char c) {
  return _mm_cmpeq_epi8(block, _mm_set1_epi8(c));
}

// The bytes of `block` in [low, high], as masks.
VSP_INLINE __m128i isBetween(__m128i block, Byte low, Byte high) {
  const __m128i above = _mm_sub_epi8(block, _mm_set1_epi8(static_cast<char>(low)));
  return _mm_cmpeq_epi8(_mm_min_epu8(above, _mm_set1_epi8(static_cast<char>(high - low))), above);
}

VSP_INLINE FlatBlock sortBlock(const Byte* text) {
  const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text));
  const __m128i folded = _mm_or_si128(block, _mm_set1_epi8(0x20));
  const __m128i letters = _mm_or_si128(isBetween(folded, 'a', 'z'), isByte(block, '_'));
  const __m128i names = _mm_or_si128(letters, isBetween(block, '0', '9'));
  // The ranges hold "'()" and ",-./".
  const __m128i ranges = _mm_or_si128(isBetween(block, '\'', ')'), isBetween(block, ',', '/'));
  // '@' and '`', and all that is no printed character.
  const __m128i odd = _mm_or_si128(_mm_or_si128(isByte(folded, '`'), isByte(block, '\\')),
                                   _mm_or_si128(isByte(block, '#'), isByte(block, '$')));
  const __m128i printed = isBetween(block, ' ', '~');
  const __m128i events = _mm_or_si128(_mm_or_si128(ranges, isByte(block, '"')), odd);
  const auto bits = [](__m128i mask) { return unsigned(_mm_movemask_epi8(mask)); };
  return {bits(names), bits(isByte(block, ' ')), bits(events) | (bits(printed) ^ 0xFFFF)};
}

// The byte after the literal whose quote is at `text`; null if it doesn't end before
// `limit`, or holds a byte that is not plain.
static const Byte* literalEnd(const Byte* text, const Byte* limit) {
  const Byte quote = *text;
  while (++text < limit) {
    if (*text == quote) return text + 1;
    if (*text < ' ' || *text > '~') return nullptr;
    if (*text == '\\' && (++text >= limit || *text < ' ' || *text > '~')) return nullptr;
  }
  return nullptr;
}

// What a name or number is to a flat text.
enum FlatWord : Byte { plainWord, specialWord, oddWord };

// The word at `text`, whose end is `end`.
VSP_INLINE FlatWord sortWord(const Byte* text, const Byte* end) {
  if (isDigit(*text)) return isPlainInteger(text, end) ? plainWord : oddWord;
  if (end - text >= ptrdiff_t{flatNameLimit}) return oddWord;
  return isSpecialName(text, uint32_t(end - text)) ? specialWord : plainWord;
}

VSP_INLINE const Byte* wordEnd(const FlatBlock& block, const Byte* text, unsigned start) {
  const unsigned end = start + unsigned(__builtin_ctz(~(block.names >> start)));
  const Byte* last = text + end;
  if (end == blockSize)
    while (isNameByte(*last)) ++last;
  return last;
}

// True if the '/' or '.' at `text` begins a comment or a number.
VSP_INLINE bool beginsOther(const Byte* text) {
  return *text == '/' ? text[1] == '/' || text[1] == '*' : *text == '.' && isDigit(text[1]);
}

// --- Expansion of arguments ---

static bool appendText(const Byte* text, size_t length) {
  if (length > size_t(argumentBytes + argumentSize - argumentTop)) return false;
  copyRun(argumentTop, text, length);
  argumentTop += length;
  return true;
}

// The first name in [text, end) that the filter knows, or `end`; null if the text is not
// plain.
static const Byte* findSpecialName(const Byte* text, const Byte* end) {
  unsigned carry = 0;  // a word goes on from the block before
  while (text < end) {
    const FlatBlock block = sortBlock(text);
    const unsigned left = end - text < ptrdiff_t{blockSize} ? unsigned(end - text) : blockSize;
    const uint32_t part = (1U << left) - 1;
    uint32_t places = (block.events | (block.names & ~(block.names << 1 | carry))) & part;
    const Byte* next = text + left;
    for (; places != 0; places &= places - 1) {
      const unsigned place = unsigned(__builtin_ctz(places));
      const Byte* const at = text + place;
      if ((block.names >> place & 1) != 0) {
        const FlatWord word = sortWord(at, wordEnd(block, text, place));
        if (word == oddWord) return nullptr;
        if (word == specialWord) return at;
      } else if (*at == '"' || *at == '\'') {
        next = literalEnd(at, end);
        if (next == nullptr) return nullptr;
        break;
      } else if (*at < '\'' || *at > '/' || beginsOther(at)) {
        return nullptr;
      }
    }
    carry = next == text + blockSize ? block.names >> (blockSize - 1) & 1 : 0;
    text = next;
  }
  return end;
}

static bool expandText(const Byte* text, const Byte* end, bool wholeArgument);

// Expands the macro `entry`, whose name ends at `next`, in an argument that ends at `end`. Moves
// `next` over the call.
static bool expandCall(IdentEntry* entry, const Byte*& next, const Byte* end) {
  FlatText flat;
  // The ')' of a call in an argument stands in it, and what ends a body ends the search for one.
  next = flattenCall(entry, next, end + flatReadAhead, flat);
  if (next == nullptr) return false;
  const bool expanded = expandText(flat.start, flat.end, false);
  endFlatText();
  // Two words that meet would be one name from now on, whose mark is that of the first.
  return expanded && !(isNameByte(*next) && argumentTop != argumentBytes && isNameByte(argumentTop[-1]));
}

// Appends [text, end) with its macros expanded. The end of an argument of its own ends the
// search for a '(', but not that of a body. False if the text is not plain.
static bool expandText(const Byte* text, const Byte* end, bool wholeArgument) {
  for (;;) {
    const Byte* const start = findSpecialName(text, end);
    if (start == nullptr || !appendText(text, size_t(start - text))) return false;
    if (start == end) return true;
    text = start + 1;
    while (isNameByte(*text)) ++text;
    const Name name = makeName(start, uint32_t(text - start));
    if (dynamicNameOf(name) != dynamicNone || (name.length == 1 && *start == 'L')) return false;
    IdentEntry* const entry = findKnown(name);
    if (entry == nullptr || !entry->isMacro()) {
      if (entry != nullptr && isHiddenInArgument(entry)) return false;
      if (!appendText(start, name.length)) return false;
      continue;
    }
    if (*entry->macroBody != objectLike) {
      const Byte* next = text;
      while (next != end && *next == ' ') ++next;
      if (next == end && !wholeArgument) return false;
      if (next == end || *next != '(') {
        // No call: the name stands, and a blank in place of those that were passed.
        if (!appendText(start, name.length) || !appendText(asBytes(" "), 1)) return false;
        text = next;
        continue;
      }
    }
    if (!expandCall(entry, text, end)) return false;
  }
}

// --- Arguments ---

// An argument: as it was written, without blanks at its ends, and expanded.
struct FlatArgument {
  const Byte* raw;
  const Byte* text;
  uint32_t rawLength;
  uint32_t length;
};

// A call whose arguments are being collected.
struct FlatCall {
  uint32_t limit;  // the parameters
  uint32_t count;
  bool irregular;  // a tab, or blanks side by side, have been seen
  FlatArgument arguments[flatParameterLimit];
};

// Copies the argument [text, end) with one space for each run of blanks, and makes it the copy.
static bool copyRegular(const Byte*& text, const Byte*& end) {
  if (end - text >= argumentBytes + argumentSize - argumentTop) return false;
  const Byte* const start = argumentTop;
  while (text != end) {
    const Byte c = *text;
    if (c == ' ' || c == '\t') {
      if (argumentTop == start || argumentTop[-1] != ' ') *argumentTop++ = ' ';
      ++text;
    } else if (c == '"' || c == '\'') {
      const size_t length = size_t(literalEnd(text, end) - text);
      std::memcpy(argumentTop, text, length);
      argumentTop += length;
      text += length;
    } else {
      *argumentTop++ = c;
      ++text;
    }
  }
  text = start;
  end = argumentTop;
  *argumentTop++ = endOfBodyMark;  // ends the last name
  return true;
}

static void trimBlanks(const Byte*& text, const Byte*& end) {
  while (text != end && *text == ' ') ++text;
  while (text != end && end[-1] == ' ') --end;
}

// Ends the argument [text, end). `special` says that it holds names that the filter knows.
VSP_INLINE bool endArgument(FlatCall& call, const Byte* text, const Byte* end, bool special) {
  if (call.count == call.limit) return false;
  if (call.irregular && !copyRegular(text, end)) return false;
  trimBlanks(text, end);
  if (end - text > argumentBytes + argumentSize - argumentTop) return false;
  FlatArgument& argument = call.arguments[call.count++];
  argument.raw = text;
  argument.rawLength = uint32_t(end - text);
  if (special) {
    const Byte* const expanded = argumentTop;
    if (!expandText(text, end, true)) return false;
    text = expanded;
    end = argumentTop;
    trimBlanks(text, end);
  }
  argument.text = text;
  argument.length = uint32_t(end - text);
  return true;
}

// Looks at the words that begin at `starts`. False if one is not plain.
VSP_INLINE bool passWords(const FlatBlock& block, const Byte* text, uint32_t starts, bool& special) {
  for (; starts != 0; starts &= starts - 1) {
    const unsigned start = unsigned(__builtin_ctz(starts));
    const FlatWord word = sortWord(text + start, wordEnd(block, text, start));
    if (word == oddWord) return false;
    special |= word == specialWord;
  }
  return true;
}

// Collects the arguments from `text` on, the byte after the '('. Returns the byte after the
// ')', or null.
static const Byte* collectArguments(const Byte* text, const Byte* limit, FlatCall& call) {
  const Byte* start = text;
  bool special = false;
  uint32_t parentheses = 0;
  uint32_t nameBefore = 0, blankBefore = 0;  // what the block before ends in
  while (limit - text >= blockRoom) {
    const FlatBlock block = sortBlock(text);
    uint32_t words = block.names & ~(block.names << 1 | nameBefore);
    call.irregular |= (block.blanks & (block.blanks << 1 | blankBefore)) != 0;
    nameBefore = block.names >> (blockSize - 1);
    blankBefore = block.blanks >> (blockSize - 1);
    const Byte* next = text + blockSize;
    for (uint32_t events = block.events; events != 0; events &= events - 1) {
      const uint32_t before = (events & -events) - 1;
      if (!passWords(block, text, words & before, special)) return nullptr;
      words &= ~before;
      const Byte* const at = text + __builtin_ctz(events);
      switch (*at) {
        case '(': ++parentheses; continue;
        case ')':
          if (parentheses-- != 0) continue;
          return endArgument(call, start, at, special) ? at + 1 : nullptr;
        case ',':
          if (parentheses != 0) continue;
          if (!endArgument(call, start, at, special)) return nullptr;
          start = at + 1;
          special = false;
          continue;
        case '"':
        case '\'':
          next = literalEnd(at, limit);
          if (next == nullptr) return nullptr;
          nameBefore = blankBefore = words = 0;
          break;
        case '\t': call.irregular = true; continue;
        case '-': continue;
        case '.':
        case '/':
          if (beginsOther(at)) return nullptr;
          continue;
        default: return nullptr;
      }
      break;
    }
    if (!passWords(block, text, words, special)) return nullptr;
    text = next;
  }
  return nullptr;
}

// --- Bodies ---

// The flat text being written.
struct FlatWriter {
  Byte* target;
  Byte* limit;
};

VSP_INLINE bool write(FlatWriter& writer, const Byte* text, size_t length) {
  if (length > size_t(writer.limit - writer.target)) return false;
  copyRun(writer.target, text, length);
  writer.target += length;
  return true;
}

// Writes an argument as a string. One with a literal in it is read in another way by each of
// those who read strings.
static bool writeString(FlatWriter& writer, const FlatArgument& argument) {
  for (uint32_t i = 0; i < argument.rawLength; ++i)
    if (argument.raw[i] == '"' || argument.raw[i] == '\\') return false;
  return write(writer, asBytes("\""), 1) && write(writer, argument.raw, argument.rawLength) &&
         write(writer, asBytes("\""), 1);
}

// Writes a body with the arguments of its call. False if it holds something that is not plain.
static bool writeBody(FlatWriter& writer, const Byte* body, const FlatArgument* arguments) {
  for (;;) {
    const Byte* const start = body;
    while (*body != 0 && *body < firstParameter) ++body;
    if (body != start && !write(writer, start, size_t(body - start))) return false;
    const Byte control = *body++;
    if (isParameter(control)) {
      const FlatArgument& argument = arguments[control - firstParameter];
      const bool raw = *body == pasteMark;
      if (!write(writer, raw ? argument.raw : argument.text, raw ? argument.rawLength : argument.length))
        return false;
    } else if (control == pasteMark) {
      if (!isParameter(*body)) continue;
      const FlatArgument& argument = arguments[*body++ - firstParameter];
      if (!write(writer, argument.raw, argument.rawLength)) return false;
    } else if (control == stringizeMark && isParameter(*body)) {
      if (!writeString(writer, arguments[*body++ - firstParameter])) return false;
    } else {
      return control == endOfBodyMark && *body == 0;
    }
  }
}

// --- Calls ---

// Pushes the flat text of `entry` with these arguments, and hides the macro.
static bool pushFlatText(IdentEntry* entry, const FlatArgument* arguments, FlatText& flat) {
  FlatWriter writer{flatTop, flatBytes + flatSize - 1};
  if (depth == flatDepthLimit || !writeBody(writer, entry->macroBody + 1, arguments)) return false;
  *writer.target = endOfBodyMark;
  flat = {flatTop, writer.target};
  levels[depth++] = {flatTop, entry, entry->macroBody};
  flatTop = writer.target + 1;
  entry->macroBody = noMacro;
  return true;
}

void endFlatText() {
  const FlatLevel& level = levels[--depth];
  level.entry->macroBody = level.macroBody;
  flatTop = level.text;
}

// The arguments of a call are collected and written into the body; after that they are needed
// no more.
static const Byte* flattenWithArguments(IdentEntry* entry, const Byte* text, const Byte* limit,
                                        FlatText& flat) {
  FlatCall call;
  call.limit = *entry->macroBody;
  call.count = 0;
  call.irregular = false;
  if (call.limit > flatParameterLimit) return nullptr;
  const Byte* first = text;
  while (*first == ' ' || *first == '\t') ++first;
  const Byte* next = *first == ')' && first < limit ? first + 1 : collectArguments(text, limit, call);
  if (next == nullptr || call.count != call.limit || !pushFlatText(entry, call.arguments, flat))
    return nullptr;
  return next;
}

const Byte* flattenCall(IdentEntry* entry, const Byte* text, const Byte* limit, FlatText& flat) {
  if (*entry->macroBody == objectLike) return pushFlatText(entry, nullptr, flat) ? text : nullptr;
  while (*text == ' ' || *text == '\t') ++text;
  if (text >= limit || *text != '(' || callsAround == callsAroundLimit) return nullptr;
  Byte* const arguments = argumentTop;
  if (callsAround++ == 0) depthOfCalls = depth;
  const Byte* const next = flattenWithArguments(entry, text + 1, limit, flat);
  --callsAround;
  argumentTop = arguments;
  return next;
}

#else

bool mayFlattenCalls() {
  return false;
}

const Byte* flattenCall(IdentEntry*, const Byte*, const Byte*, FlatText&) {
  return nullptr;
}

void endFlatText() {}

#endif
