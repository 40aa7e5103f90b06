// The identifier table.
//
// Chains hang on 32,768 heads that hold offsets into the SAVE region: half the
// size of pointers, so half the pages that a unit touches. The hash is a sum of
// one step per byte, made while the name is read; a step of 0 marks a byte that
// no name holds, so the end of a name and its hash come from one table.

#include "scanner/identifiers.h"

#include <array>
#include <cstring>
#include <new>

#include "input/frame.h"
#include "options/option_image.h"
#include "scanner/scan.h"

// Called from here, defined later:
#include "macro/define.h"
#include "macro/expand.h"

constinit const Byte noMacro[1] = {0};
constinit uint32_t hashTable[hashChainCount] = {};
constinit uint32_t identHash = 0;
constinit uint32_t identLength = 0;
constinit IdentEntry* currentIdent = nullptr;
constinit uint32_t identLimit = 250;
constinit KnownNames knownNames{};
constinit IdentEntry* tokenEntry[tokenCodeCount] = {};

// The steps come from a fixed generator, so that every run has the same hashes.
static constexpr std::array<int32_t, 256> makeHashSteps() {
  std::array<int32_t, 256> steps{};
  uint32_t seed = 1;
  const auto give = [&](int from, int to) {
    for (int c = from; c <= to; ++c) {
      int32_t step = 0;
      while (step == 0) {
        seed = seed * 1664525U + 1U;
        step = int32_t(seed) >> 16;
      }
      steps[size_t(c)] = step;
    }
  };
  give('0', '9');
  give('A', 'Z');
  give('a', 'z');
  give('_', '_');
  return steps;
}

constexpr std::array<int32_t, 256> hashSteps = makeHashSteps();
static_assert(hashSteps['0'] == 25 && hashSteps['1'] == 5969 && hashSteps['A'] == -26603);
static_assert(hashSteps['a'] == 6125 && hashSteps['b'] == -5540 && hashSteps['c'] == -12196);
static_assert(hashSteps['_'] == -8758 && hashSteps['$'] == 0 && hashSteps[0x80] == 0);

const int32_t* const hashStep = hashSteps.data();

void hashIdentifier(const Byte* name) {
  uint32_t sum = 0;
  uint32_t length = 0;
  for (; name[length] != 0; ++length) sum += uint32_t(hashSteps[name[length]]);
  identLength = length;
  identHash = sum - length;
}

IdentEntry* makeIdentEntry(const Byte* name, uint32_t hash, uint32_t length) {
  uint32_t& head = hashTable[hash & (hashChainCount - 1)];
  Byte* const place = carveSAVE(offsetof(IdentEntry, firstByte) + length + 1);
  IdentEntry* const entry = new (place) IdentEntry;
  entry->macroBody = noMacro;
  entry->next = head;
  entry->tokenCode = 0;
  entry->nameLength = Byte(length);
  Byte* const spelling = place + offsetof(IdentEntry, firstByte);
  std::memcpy(spelling, name, length);
  spelling[length] = 0;
  head = uint32_t(place - saveBase);
  return entry;
}

IdentEntry* lookupName(const Byte* name) {
  hashIdentifier(name);
  return findIdentEntry(name);
}

bool isNameDefined(const Byte* name) {
  return lookupName(name)->macroBody != noMacro;
}

bool isIdentDefined(const Byte* name) {
  if (name[0] == '_' && name[1] == '_' && reservedNameIndex(name, identLength) != 0) return true;
  return findIdentEntry(name)->macroBody != noMacro;
}

// --- Keywords ---

struct KeywordRow {
  Byte group;
  const char* spelling;
  TokenCode code;
};

static constexpr KeywordRow keywordRows[] = {
#define KEYWORD(group, spelling, code) {group, spelling, code},
#include "scanner/keywords.def"
#undef KEYWORD
};

static constexpr int rowsOfGroup(int group) {
  int count = 0;
  for (const KeywordRow& row : keywordRows) count += row.group == group;
  return count;
}
static_assert(rowsOfGroup(0) == 17 && rowsOfGroup(1) == 20 && rowsOfGroup(2) == 2);
static_assert(rowsOfGroup(3) == 27 && rowsOfGroup(4) == 49 && rowsOfGroup(5) == 30);

// A call of its own: with the text in sight, compilers take the comparison in
// words for one that reads beyond the text's end, since they don't see that only
// names of the same length are compared.
[[gnu::noinline]] static IdentEntry* lookupText(const char* name) {
  return lookupName(asBytes(name));
}

// Makes `spelling` a keyword by which messages name its token.
static void installKeyword(const char* spelling, TokenCode code) {
  IdentEntry* const entry = lookupText(spelling);
  tokenEntry[code] = entry;
  entry->tokenCode = Byte(code);
}

static void installKnownNames() {
  knownNames.dllexport = lookupText("dllexport");
  knownNames.dllimport = lookupText("dllimport");
  knownNames.thread = lookupText("thread");
  knownNames.naked = lookupText("naked");
  knownNames.zephraclass = lookupText("zephraclass");
  knownNames.zephrareturn = lookupText("zephrareturn");
  knownNames.pascalimplementation = lookupText("pascalimplementation");
  knownNames.hidesbase = lookupText("hidesbase");
  knownNames.package = lookupText("package");
  knownNames.selectany = lookupText("selectany");
  knownNames.dynamic = lookupText("dynamic");
  knownNames.novtable = lookupText("novtable");
  knownNames.uuid = lookupText("uuid");
  knownNames.nothrow = lookupText("nothrow");
  knownNames.noreturn = lookupText("noreturn");
  knownNames.allocate = lookupText("allocate");
  knownNames.property = lookupText("property");
  const bool wide = optionImage.unicodeApp != 0;
  knownNames.entryFunction = lookupText(wide ? "wmain" : "main");
  if (optionImage.underscores != 0)
    knownNames.entryFunctionSymbol = knownNames.entryFunction;
  else
    knownNames.entryFunctionSymbol = lookupText(wide ? "_wmain" : "_main");
  knownNames.usingStdNames = lookupText("__USING_STD_NAMES__");
}

void installKeywords() {
  std::memset(hashTable, 0, sizeof hashTable);
  for (IdentEntry*& entry : tokenEntry) entry = nullptr;
  const int level = optionImage.languageLevel;
  const int last = cplusplusMode ? 5 : 3;
  for (const KeywordRow& row : keywordRows)
    if (row.group >= level && row.group <= last) installKeyword(row.spelling, row.code);
  lookupText("__inline")->tokenCode = tokInline;
  if (cplusplusMode && level != levelFamily) installKeyword("asm", tokAsm);
  if (!cplusplusMode) installKeyword("__try", tokTry);
  if (!(cplusplusMode && level == levelAnsi)) {
    installKeyword("__except", tokExcept);
    installKeyword("__finally", tokFinally);
  }
  installKnownNames();
  identLimit = optionImage.maxIdentLength;
  if (identLimit == 0 || (cplusplusMode && level == levelAnsi)) identLimit = 250;
}

// --- Reading a name ---

// Reads on where the run of a name's bytes met the end of the buffer or is
// longer than counts: byte by byte, as far as `room` allows.
VSP_COLD static void scanLongIdentifier(Byte c) {
  const bool mark = noExpandMark;
  const size_t space = size_t(tokenTextEnd() - tokenTextPtr);
  const uint32_t room = space < identLimit ? uint32_t(space) : identLimit;
  Byte* const text = tokenTextPtr;
  uint32_t stored = 0;
  uint32_t sum = 0;
  bool inHand = true;
  for (;;) {
    while (hashSteps[c] != 0) {
      if (stored < room) {
        text[stored++] = c;
        sum += uint32_t(hashSteps[c]);
      }
      c = nextChar();
    }
    if (c != '\\') break;
    const Byte* const behind = inputCursor;
    const Byte d = nextChar();
    if (!isLineEnd(d)) {
      ungetTwo('\\', behind);
      inHand = false;
      break;
    }
    countNewline(d);
    c = nextChar();
  }
  if (inHand) ungetChar();
  text[stored] = 0;
  identLength = stored;
  identHash = sum - stored;
  noExpandMark = mark;
}

void scanIdentifier(Byte c) {
  const Byte* cursor = inputCursor;
  Byte* const text = tokenTextPtr;
  uint32_t sum = uint32_t(hashSteps[c]);
  // The byte at the limit belongs to no name, so this loop needs no limit test.
  // 255 bytes are room enough for every name that counts; a longer one, and one
  // near the end of tokenText, goes the slow way from its beginning.
  if (tokenTextEnd() - text > 256) [[likely]] {
    Byte* target = text;
    *target++ = c;
    int32_t step;
    while ((step = hashSteps[*cursor]) != 0 && target - text < 251) {
      sum += uint32_t(step);
      *target++ = *cursor++;
    }
    const uint32_t length = uint32_t(target - text);
    if (cursor < inputLimit && *cursor != '\\' && length <= identLimit) [[likely]] {
      *target = 0;
      inputCursor = cursor;
      identLength = length;
      identHash = sum - length;
      return;
    }
  }
  scanLongIdentifier(c);
}
