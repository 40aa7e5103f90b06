// Flat texts: the collection of arguments in place, their expansion, and the body with them.
//
// Two stacks of bytes hold what is made: the flat texts, one for each macro that is being
// read, and the texts of arguments. An argument without a name that the filter knows, and with
// single spaces alone, needs neither; it is used where it was written. Others are expanded while they are
// collected, calls in them first, so that each byte of a call is looked at once however deep it lies. The
// texts of a call's arguments go as soon as the body has been written with them.
//
// A name that the filter of names doesn't know is plain wherever it stands. A body without
// others makes a settled text of settled arguments, which nobody need search for names again.
//
// Marks are not needed, but for pasted names: whoever has a paste in its body calls no macro here.
// Else a name would have to carry one if its macro is hidden where the
// argument is expanded, and no longer where it is read again: if the macro has been called in
// the argument itself. That makes the call one for the ordinary way.

#include "macro/flat_text.h"

#include <array>
#include <cstring>

#include "input/macro_text.h"
#include "names/names.h"
#include "output/output.h"
#include "record/explain.h"
#include "scanner/byte_search.h"
#include "scanner/numbers.h"
#include "scanner/token_text.h"

// The longest name in a flat text, which must count as a whole.
constexpr uint32_t flatNameLimit = 64;

// The parameters that a macro may have, and the macros that may be read at once.
constexpr uint32_t flatParameterLimit = 32;
constexpr uint32_t flatDepthLimit = 48;

// A call whose texts need more is left to the ordinary way, and so is one whose arguments
// could fill tokenText, where each byte may have a mark in front.
constexpr size_t flatSize = 0x10000;
constexpr size_t argumentSize = tokenTextSize / 2 - 256;

static constinit Byte flatTexts[flatSize + flatReadAhead] = {};
static constinit Byte argumentBytes[argumentSize + flatReadAhead] = {};
static constinit Byte* argumentTop = argumentBytes;

// A macro whose flat text is being read.
struct FlatLevel {
  Byte* text;  // where its flat text begins
  IdentEntry* entry;
  const Byte* macroBody;  // goes back into the entry
  bool pasted;            // the body has a paste
};
static constinit FlatLevel levels[flatDepthLimit] = {};
static constinit uint32_t depth = 0;
static constinit Byte* flatTop = flatTexts;

// Calls whose arguments are being collected, and the depth where the first of them began.
static constinit uint32_t callsAround = 0;
static constinit uint32_t depthOfCalls = 0;
constexpr uint32_t callsAroundLimit = 48;

// What has been seen since the first of them began: a name in an expanded argument that the
// filter knows, blanks in an argument that are not single spaces, and what may need a blank
// between two tokens.
static constinit bool namesLeft = false;
static constinit bool irregularBlanks = false;
static constinit bool seamsLeft = false;

bool mayFlattenCalls() {
  // The ordinary way tells of each call.
  return !explaining && identLimit >= flatNameLimit && tokenText.end == tokenText.bytes;
}

void resetFlatTexts() {
  depth = callsAround = depthOfCalls = 0;
  flatTop = flatTexts;
  argumentTop = argumentBytes;
}

// True if the text being read is that of a body with a paste. A name there may have the mark of an
// argument, which goes to the next name where there is none that it belongs to.
static bool isPasted() {
  return depth != 0 && levels[depth - 1].pasted;
}

// True if the macro has been called in the argument that is being expanded.
static bool isHiddenInArgument(const IdentEntry* entry) {
  for (uint32_t i = depthOfCalls; i < depth; ++i)
    if (levels[i].entry == entry) return true;
  return false;
}

// --- Bytes ---

// What a byte is to the readers of flat texts and arguments.
enum FlatByte : Byte {
  flatOdd,  // not plain
  flatWord,
  flatBlank,
  flatTab,
  flatOpen,
  flatClose,
  flatComma,
  flatQuote,
  flatOperator,  // may need a blank after another one
  flatMark,      // any other punctuator
};

constexpr std::array<Byte, 256> flatBytes = [] {
  std::array<Byte, 256> table{};
  for (int c = '0'; c <= '9'; ++c) table[size_t(c)] = flatWord;
  for (int c = 'A'; c <= 'Z'; ++c) table[size_t(c)] = flatWord;
  for (int c = 'a'; c <= 'z'; ++c) table[size_t(c)] = flatWord;
  for (const char c : {'!', '%', '&', '*', '+', '-', '.', '/', ':', '<', '=', '>', '?', '^', '|'})
    table[Byte(c)] = flatOperator;
  for (const char c : {'[', ']', '{', '}', ';', '~'}) table[Byte(c)] = flatMark;
  table['_'] = flatWord;
  table[' '] = flatBlank;
  table['\t'] = flatTab;
  table['('] = flatOpen;
  table[')'] = flatClose;
  table[','] = flatComma;
  table['"'] = table['\''] = flatQuote;
  return table;
}();

VSP_INLINE bool isOperator(Byte c) {
  return flatBytes[c] == flatOperator;
}

// Texts are copied in words of so many bytes.
constexpr size_t copySize = 16;

// What must be readable from a word on that is looked at, or from the end of a text that is copied.
constexpr ptrdiff_t readRoom = copySize;
static_assert(readRoom >= searchRoom);

// The byte after the literal whose quote is at `text`; null if it doesn't end before
// `limit`, or holds a byte that is not plain.
static const Byte* literalEnd(const Byte* text, const Byte* limit) {
  const Byte quote = *text;
  for (++text; (text = passPlainCharacters(text, limit)) < limit; ++text) {
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

VSP_INLINE const Byte* wordEnd(const Byte* text) {
  text = passNameBytes(text);
  while (isNameByte(*text)) ++text;
  return text;
}

// True if the '/' or '.' at `text` begins a comment or a number.
VSP_INLINE bool beginsOther(const Byte* text) {
  return *text == '/' ? text[1] == '/' || text[1] == '*' : *text == '.' && isDigit(text[1]);
}

// --- Texts ---

// Copies a text in words of sixteen bytes; so many more may be read and written.
VSP_INLINE void copyWords(Byte* target, const Byte* text, size_t length) {
  for (size_t i = 0; i < length; i += copySize) {
    // The bytes after the text may be the first of the target's.
    std::array<Byte, copySize> word;
    std::memcpy(word.data(), text + i, copySize);
    std::memcpy(target + i, word.data(), copySize);
  }
}

// A text being written, in one of the two stacks.
struct TextWriter {
  Byte* target;
  Byte* limit;
};

VSP_INLINE bool writeText(TextWriter& writer, const Byte* text, size_t length) {
  if (length > size_t(writer.limit - writer.target)) return false;
  copyWords(writer.target, text, length);
  writer.target += length;
  return true;
}

// Writes a part of an argument with one space for each run of blanks.
static bool writeRegular(TextWriter& writer, const Byte* text, const Byte* end) {
  if (end - text > writer.limit - writer.target) return false;
  bool afterBlank = false;
  while (text != end) {
    const Byte c = *text;
    if (c == '"' || c == '\'') {
      const size_t length = size_t(literalEnd(text, end) - text);
      copyRun(writer.target, text, length);
      writer.target += length;
      text += length;
      afterBlank = false;
      continue;
    }
    const bool blank = c == ' ' || c == '\t';
    if (!blank || !afterBlank) *writer.target++ = blank ? Byte(' ') : c;
    afterBlank = blank;
    ++text;
  }
  return true;
}

// Writes a part of an argument as it is collected.
VSP_INLINE bool writePart(TextWriter& writer, const Byte* text, const Byte* end) {
  return irregularBlanks ? writeRegular(writer, text, end) : writeText(writer, text, size_t(end - text));
}

// Appends to the argument being expanded.
VSP_INLINE bool appendText(const Byte* text, const Byte* end) {
  TextWriter writer{argumentTop, argumentBytes + argumentSize};
  const bool written = writeText(writer, text, size_t(end - text));
  argumentTop = writer.target;
  return written;
}

VSP_INLINE bool appendPart(const Byte* text, const Byte* end) {
  TextWriter writer{argumentTop, argumentBytes + argumentSize};
  const bool written = writePart(writer, text, end);
  argumentTop = writer.target;
  return written;
}

static bool appendName(const Byte* text, const Byte* end) {
  if (end - text > argumentBytes + argumentSize - argumentTop) return false;
  copyRun(argumentTop, text, size_t(end - text));
  argumentTop += end - text;
  return true;
}

// --- Expansion of arguments ---

// The first name in [text, end) that the filter knows, or `end`; null if the text is not
// plain.
static const Byte* findSpecialName(const Byte* text, const Byte* end) {
  while (text < end) {
    switch (flatBytes[*text]) {
      case flatWord: {
        const Byte* const next = wordEnd(text);
        const FlatWord word = sortWord(text, next);
        if (word != plainWord) return word == specialWord ? text : nullptr;
        text = next;
        break;
      }
      case flatQuote:
        text = literalEnd(text, end);
        if (text == nullptr) return nullptr;
        break;
      case flatOperator:
        if (beginsOther(text)) return nullptr;
        ++text;
        break;
      case flatTab:
      case flatOdd: return nullptr;
      default: ++text; break;
    }
  }
  return end;
}

static const Byte* expandName(const Byte* text, const Byte* end, const Byte* limit);

// Appends a flat text with its macros expanded. False if it is not plain.
static bool expandFlatText(const FlatText& flat) {
  const Byte* text = flat.start;
  for (;;) {
    const Byte* const start = findSpecialName(text, flat.end);
    if (start == nullptr || !appendText(text, start)) return false;
    if (start == flat.end) return true;
    text = expandName(start, wordEnd(start), flat.end + flatReadAhead);
    if (text == nullptr) return false;
  }
}

// Appends the expansion of the macro `entry`, whose name ends at `next`. Returns the byte after
// the call, or null.
static const Byte* expandCall(IdentEntry* entry, const Byte* next, const Byte* limit) {
  FlatText flat;
  next = flattenCall(entry, next, limit, flat);
  if (next == nullptr) return nullptr;
  // A settled text may still hold the beginning of a comment, which only a seamless one can't.
  const bool expanded = flat.seamless ? appendText(flat.start, flat.end) : expandFlatText(flat);
  endFlatText();
  return expanded ? next : nullptr;
}

// Appends what stands for the name [text, end), which the filter knows. Returns the byte after
// it, or after its call; null if that is not plain.
static const Byte* expandName(const Byte* text, const Byte* end, const Byte* limit) {
  const Name name = makeName(text, uint32_t(end - text));
  if (dynamicNameOf(name) != dynamicNone || (name.length == 1 && *text == 'L')) return nullptr;
  IdentEntry* const entry = findKnown(name);
  if (entry == nullptr || !entry->isMacro()) {
    if (entry != nullptr && isHiddenInArgument(entry)) return nullptr;
    namesLeft = true;
    return appendName(text, end) ? end : nullptr;
  }
  if (isPasted()) return nullptr;
  if (*entry->macroBody == objectLike) return expandCall(entry, end, limit);
  const Byte* next = end;
  while (*next == ' ' || *next == '\t') ++next;
  irregularBlanks |= next - end > 1 || *end == '\t';
  if (*next == '(') return expandCall(entry, next, limit);
  // The end of an argument ends the search for a '(', but not that of a body.
  if (*next == endOfBodyMark) return nullptr;
  namesLeft = true;
  // The name stands, and a blank in place of those that were passed.
  const Byte* const blank = asBytes(" ");
  return appendName(text, end) && appendName(blank, blank + 1) ? next : nullptr;
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
  const Byte* start;     // of the argument being collected
  const Byte* taken;     // up to here it has been expanded
  const Byte* expanded;  // the expanded text; null if it has no name that the filter knows
  FlatArgument arguments[flatParameterLimit];
};

static void beginArgument(FlatCall& call, const Byte* text) {
  call.start = call.taken = text;
  call.expanded = nullptr;
}

VSP_INLINE void trimBlanks(const Byte*& text, const Byte*& end) {
  while (text != end && (*text == ' ' || *text == '\t')) ++text;
  while (text != end && (end[-1] == ' ' || end[-1] == '\t')) --end;
}

// Ends the argument that ends at `end`. False if there are too many, or no room.
VSP_INLINE bool endArgument(FlatCall& call, const Byte* end) {
  if (call.count == call.limit) return false;
  FlatArgument& argument = call.arguments[call.count++];
  const Byte* text = call.start;
  const Byte* rawEnd = end;
  trimBlanks(text, rawEnd);
  argument.raw = text;
  argument.rawLength = uint32_t(rawEnd - text);
  if (rawEnd - text > argumentBytes + argumentSize - argumentTop) return false;
  seamsLeft |= text == rawEnd || isOperator(*text) || isOperator(rawEnd[-1]);
  if (call.expanded != nullptr || irregularBlanks) {
    const bool whole = call.expanded == nullptr;
    if (whole) call.expanded = argumentTop;
    if (!appendPart(whole ? text : call.taken, whole ? rawEnd : end)) return false;
    text = call.expanded;
    rawEnd = argumentTop;
    trimBlanks(text, rawEnd);
  }
  argument.text = text;
  argument.length = uint32_t(rawEnd - text);
  return true;
}

// Takes the name [text, end) of an argument, which the filter knows, with its call if it has one.
// Returns the byte after it, or null.
static const Byte* takeName(FlatCall& call, const Byte* text, const Byte* end, const Byte* limit) {
  if (call.expanded == nullptr) call.expanded = argumentTop;
  seamsLeft = true;
  if (!appendPart(call.taken, text)) return nullptr;
  return call.taken = expandName(text, end, limit);
}

// Collects the arguments from `text` on, the byte after the '('. Returns the byte after the
// ')', or null.
static const Byte* collectArguments(const Byte* text, const Byte* limit, FlatCall& call) {
  beginArgument(call, text);
  uint32_t parentheses = 0;
  bool afterOperator = false;
  while (limit - text >= readRoom) {
    const Byte kind = flatBytes[*text];
    if (kind == flatBlank || kind == flatTab) {
      irregularBlanks |= kind == flatTab || text[1] == ' ';
      ++text;
      continue;
    }
    if (kind == flatOperator) {
      if (beginsOther(text)) return nullptr;
      seamsLeft |= afterOperator;
      afterOperator = true;
      ++text;
      continue;
    }
    afterOperator = false;
    const Byte* const start = text++;
    switch (kind) {
      case flatWord: {
        text = wordEnd(start);
        const FlatWord word = sortWord(start, text);
        if (word == plainWord) break;
        text = word == specialWord ? takeName(call, start, text, limit) : nullptr;
        if (text == nullptr) return nullptr;
        break;
      }
      case flatOpen: ++parentheses; break;
      case flatClose:
        if (parentheses-- != 0) break;
        return endArgument(call, start) ? text : nullptr;
      case flatComma:
        if (parentheses != 0) break;
        if (!endArgument(call, start)) return nullptr;
        beginArgument(call, text);
        break;
      case flatQuote:
        seamsLeft |= *start == '\'' || isNameByte(start[-1]);
        text = literalEnd(start, limit);
        if (text == nullptr) return nullptr;
        break;
      case flatMark: break;
      default: return nullptr;
    }
  }
  return nullptr;
}

// --- Bodies ---

// Writes an argument as it was written, without marks.
VSP_INLINE bool writeRaw(TextWriter& writer, const FlatArgument& argument) {
  return writePart(writer, argument.raw, argument.raw + argument.rawLength);
}

// Writes an argument as a string. One with a literal in it is read in another way by each of
// those who read strings.
static bool writeString(TextWriter& writer, const FlatArgument& argument) {
  for (uint32_t i = 0; i < argument.rawLength; ++i)
    if (argument.raw[i] == '"' || argument.raw[i] == '\\') return false;
  if (writer.limit - writer.target < 2) return false;
  *writer.target++ = '"';
  if (!writeRaw(writer, argument) || writer.target == writer.limit) return false;
  *writer.target++ = '"';
  return true;
}

// What follows a piece of a body's own text.
enum PieceEnd : Byte {
  endOfPieces,
  noArgument,
  expandedArgument,
  rawArgument,
  stringOfArgument,
};

// A piece of a body, and the argument that follows.
struct BodyPiece {
  uint32_t length;
  PieceEnd end;
  Byte argument;
  bool pasted;  // a paste has been passed
};

// The first byte from `body` on that is a control byte, or the NUL at the end. A record begins and
// ends at multiples of eight, so it is read in words of eight bytes.
VSP_INLINE const Byte* findControl(const Byte* body) {
  const size_t before = reinterpret_cast<uintptr_t>(body) % 8;
  body -= before;
  uint64_t mask = ~uint64_t{0} << 8 * before;
  for (;; body += 8) {
    constexpr uint64_t ones = 0x0101010101010101;
    uint64_t word;
    std::memcpy(&word, body, 8);
    // The lowest bit of these belongs to the first such byte.
    const uint64_t stops = (((word - ones) & ~word) | word) & ones << 7 & mask;
    if (stops != 0) return body + unsigned(__builtin_ctzll(stops)) / 8;
    mask = ~uint64_t{0};
  }
}

// Reads the piece at `body` and moves it on. False for what is not plain.
VSP_INLINE bool readPiece(const Byte*& body, BodyPiece& piece) {
  const Byte* const start = body;
  body = findControl(body);
  piece.length = uint32_t(body - start);
  const Byte control = *body++;
  piece.pasted = control == pasteMark || *body == pasteMark;
  piece.end = endOfPieces;
  if (isParameter(control)) {
    piece.end = *body == pasteMark ? rawArgument : expandedArgument;
    piece.argument = Byte(control - firstParameter);
    return true;
  }
  if (control == endOfBodyMark) return *body == 0;
  if (control != pasteMark && control != stringizeMark) return false;
  if (!isParameter(*body)) {
    piece.end = noArgument;
    return control == pasteMark;
  }
  piece.end = control == pasteMark ? rawArgument : stringOfArgument;
  piece.argument = Byte(*body++ - firstParameter);
  return true;
}

VSP_INLINE bool writeArgument(TextWriter& writer, const FlatArgument& argument, PieceEnd form) {
  if (form == expandedArgument) return writeText(writer, argument.text, argument.length);
  return form == rawArgument ? writeRaw(writer, argument) : writeString(writer, argument);
}

// Writes a body with the arguments of its call. `pasted` says whether there is a paste in it. False
// if it holds something that is not plain.
static bool writeBody(TextWriter& writer, const Byte* body, const FlatArgument* arguments, bool& pasted) {
  for (pasted = false;;) {
    const Byte* const text = body;
    BodyPiece piece = {};
    if (!readPiece(body, piece) || piece.length > size_t(writer.limit - writer.target)) return false;
    copyRun(writer.target, text, piece.length);
    writer.target += piece.length;
    pasted |= piece.pasted;
    if (piece.end == endOfPieces) return true;
    if (piece.end != noArgument && !writeArgument(writer, arguments[piece.argument], piece.end)) return false;
  }
}

// --- Cached bodies ---
//
// Bodies that have been read are kept in pieces, with what is known of their own names as long as
// the filter doesn't change.

constexpr uint32_t shapePieceLimit = 16;
constexpr uint32_t shapeTextSize = 112;

struct BodyShape {
  const Byte* body;       // of which macro
  uint32_t uses;          // calls of the macro so far, up to usesBeforeShape
  uint32_t filterChange;  // the state of the filter for which `settled` holds
  uint64_t filterBits;    // the bits of its own names, each as one of 64
  bool whole;             // the body has found room here
  bool pasted;            // it has a paste
  bool settled;           // a call whose arguments are settled gives a settled text
  bool seamless;          // and one whose arguments are seamless a seamless text
  BodyPiece pieces[shapePieceLimit];
  Byte text[shapeTextSize + copySize];  // the pieces' texts, one after the other
};

constexpr uint32_t shapeCount = 64;

// A macro that is called less often is read where it stands.
constexpr uint32_t usesBeforeShape = 3;

static constinit BodyShape shapes[shapeCount] = {};

// Splits a body into pieces. False if it has no room, or is not plain.
static bool splitBody(BodyShape& shape, const Byte* body) {
  Byte* target = shape.text;
  for (BodyPiece& piece : shape.pieces) {
    const Byte* const text = body;
    if (!readPiece(body, piece) || piece.length > size_t(shape.text + shapeTextSize - target)) return false;
    std::memcpy(target, text, piece.length);
    target += piece.length;
    shape.pasted |= piece.pasted;
    if (piece.end == endOfPieces) return true;
  }
  return false;
}

// True if an argument next to this byte may become part of the same token as it.
static bool mayJoin(Byte c) {
  return isNameByte(c) || c == '.' || c == '/';
}

// True if the text [text, end), in which each argument is a ';', is seamless where the arguments
// neither begin nor end in operators.
static bool isSeamless(const Byte* text, const Byte* end) {
  if (text == end || isOperator(*text) || isOperator(end[-1])) return false;
  uint32_t operatorBefore = 0;
  bool inString = false;
  for (const Byte* c = text; c != end; ++c) {
    if (*c == '\'' || *c == '\\') return false;
    if (*c == '"') {
      if (!inString && c != text && (isNameByte(c[-1]) || c[-1] == ';')) return false;
      inString = !inString;
    }
    if (inString || *c == ' ') continue;
    if (operatorBefore != 0 && isOperator(*c)) return false;
    operatorBefore = isOperator(*c);
  }
  return true;
}

// Finds out whether the body's own names are plain, and no argument can become part of one, and
// whether it is seamless. In the text that is looked at, each argument is a ';'.
static void judgeShape(BodyShape& shape) {
  Byte text[shapeTextSize + shapePieceLimit + flatReadAhead];
  Byte* target = text;
  const Byte* source = shape.text;
  for (const BodyPiece& piece : shape.pieces) {
    if (target != text && (piece.length == 0 ? piece.end != endOfPieces : mayJoin(*source))) return;
    std::memcpy(target, source, piece.length);
    target += piece.length;
    source += piece.length;
    if (piece.end == endOfPieces) break;
    if (piece.length != 0 && mayJoin(target[-1])) return;
    *target++ = ';';
  }
  *target = endOfBodyMark;
  for (const Byte* word = text; word != target;) {
    const Byte* const end = isNameByte(*word) ? wordEnd(word) : word + 1;
    if (isNameByte(*word)) shape.filterBits |= uint64_t{1} << filterBitOf(word, uint32_t(end - word)) % 64;
    word = end;
  }
  shape.settled = !shape.pasted && findSpecialName(text, target) == target;
  shape.seamless = shape.settled && isSeamless(text, target);
}

// True if no bit that has been set in the filter since the shape was judged is one of its own
// names' bits.
static bool isStillTrue(const BodyShape& shape) {
  const uint32_t changes = nameFilterChange - shape.filterChange;
  if (changes > filterChangesKept) return false;
  for (uint32_t i = 0; i < changes; ++i)
    if ((shape.filterBits >> changedFilterBits[(nameFilterChange - i) % filterChangesKept] % 64 & 1) != 0)
      return false;
  return true;
}

static void makeShape(BodyShape& shape) {
  shape.settled = shape.seamless = shape.pasted = false;
  shape.filterBits = 0;
  shape.whole = splitBody(shape, shape.body);
  if (shape.whole) judgeShape(shape);
}

// The shape of a body; one that is not whole has nothing else.
VSP_INLINE const BodyShape& shapeOf(const Byte* body) {
  BodyShape& shape = shapes[(reinterpret_cast<uintptr_t>(body) / 8) % shapeCount];
  const bool known = shape.body == body && shape.uses == usesBeforeShape;
  if (known && shape.filterChange == nameFilterChange) return shape;
  if (shape.body != body) {
    shape.body = body;
    shape.uses = 0;
    shape.whole = shape.settled = shape.seamless = shape.pasted = false;
  }
  if (!known) ++shape.uses;
  if (shape.uses == usesBeforeShape && (!known || !isStillTrue(shape))) makeShape(shape);
  shape.filterChange = nameFilterChange;
  return shape;
}

// The same as writeBody, from the pieces.
static bool writePieces(TextWriter& writer, const BodyShape& shape, const FlatArgument* arguments) {
  const Byte* text = shape.text;
  for (const BodyPiece* piece = shape.pieces;; ++piece) {
    if (!writeText(writer, text, piece->length)) return false;
    text += piece->length;
    if (piece->end == endOfPieces) return true;
    if (piece->end != noArgument && !writeArgument(writer, arguments[piece->argument], piece->end))
      return false;
  }
}

// --- Calls ---

// Pushes the flat text of `entry` with these arguments, and hides the macro.
static bool pushFlatText(IdentEntry* entry, const FlatArgument* arguments, FlatText& flat) {
  TextWriter writer{flatTop, flatTexts + flatSize - 1};
  if (depth == flatDepthLimit) return false;
  const Byte* const body = entry->macroBody + 1;
  const BodyShape& shape = shapeOf(body);
  bool pasted = shape.pasted;
  if (!(shape.whole ? writePieces(writer, shape, arguments) : writeBody(writer, body, arguments, pasted)))
    return false;
  *writer.target = endOfBodyMark;
  flat = {flatTop, writer.target, shape.settled, shape.seamless, pasted, !shape.settled && !pasted};
  if (arguments != nullptr) {
    flat.settled &= !namesLeft;
    flat.seamless &= !namesLeft && !seamsLeft;
  }
  levels[depth++] = {flatTop, entry, entry->macroBody, pasted};
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
  if (call.limit > flatParameterLimit) return nullptr;
  const Byte* first = text;
  while (*first == ' ' || *first == '\t') ++first;
  irregularBlanks |= first - text > 1 || *text == '\t';
  const Byte* next = *first == ')' && first < limit ? first + 1 : collectArguments(text, limit, call);
  if (next == nullptr || call.count != call.limit || !pushFlatText(entry, call.arguments, flat))
    return nullptr;
  return next;
}

const Byte* flattenCall(IdentEntry* entry, const Byte* text, const Byte* limit, FlatText& flat) {
  if (*entry->macroBody == objectLike) {
    // See below: the name's end is looked for there too.
    if (depth + callsAround != 0 && *text == '"') return nullptr;
    return pushFlatText(entry, nullptr, flat) ? text : nullptr;
  }
  while (*text == ' ' || *text == '\t') ++text;
  if (text >= limit || *text != '(' || callsAround == callsAroundLimit) return nullptr;
  Byte* const arguments = argumentTop;
  if (callsAround++ == 0) {
    depthOfCalls = depth;
    namesLeft = irregularBlanks = seamsLeft = false;
  }
  const Byte* next = flattenWithArguments(entry, text + 1, limit, flat);
  --callsAround;
  argumentTop = arguments;
  // The byte after the ')' is looked at before the body is read. In macro text a name there can
  // have a mark and a string can be one that a parameter makes; either would go to the body.
  if (next != nullptr && depth + callsAround != 1 && (isNameByte(*next) || *next == '"')) {
    endFlatText();
    return nullptr;
  }
  return next;
}
