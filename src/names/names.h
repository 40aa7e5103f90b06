// The identifier table: one entry per name of a unit, which is keyword, macro
// and name at once.
//
// A name on its way is a value: its bytes, their number and their hash, which is
// made in the loop that finds the name's end. The table turns it into an entry,
// and entries compare by address. A lookup never fails: a name is entered the
// first time that it is looked up. Entries live in the SAVE region until the unit
// ends.

#pragma once

#include <cstring>

#include "base.h"
#include "memory/memory.h"

// A name; the bytes are not NUL-terminated.
struct Name {
  const Byte* text;
  uint32_t length;
  uint32_t hash;
};

// The macroBody of a name that is no macro, and of a macro while it is expanded.
extern const Byte noMacro[1];

struct IdentEntry {
  const Byte* macroBody;  // the macro record, or noMacro
  uint32_t next;          // offset in the SAVE region of the next entry of the chain, 0 at the end
  Byte tokenCode;         // of a keyword, 0 for a plain name
  Byte nameLength;        // of the spelling without its NUL
  Byte firstByte;         // the spelling, NUL-terminated, begins here

  const Byte* spelling() const { return &firstByte; }
  bool isMacro() const { return macroBody != noMacro; }
};

constexpr int hashChainCount = 32768;

// The longest name that an entry holds.
constexpr uint32_t nameLengthLimit = 255;

// Chain heads: offsets of entries in the SAVE region, 0 for an empty chain.
extern uint32_t hashTable[hashChainCount];

inline IdentEntry* entryAt(uint32_t offset) {
  return reinterpret_cast<IdentEntry*>(saveBase + offset);
}

// What each byte of a name adds to its hash; 0 for a byte that no name holds, so
// one table gives the end of a name and its hash.
extern const int32_t* const hashStep;

// True for the bytes that a name may hold.
VSP_INLINE bool isNameByte(Byte c) {
  return hashStep[c] != 0;
}

// The name of `length` bytes at `text` whose hash steps add up to `sum`.
VSP_INLINE Name makeName(const Byte* text, uint32_t length, uint32_t sum) {
  return {text, length, sum - length};
}

// The name that a NUL-terminated text spells.
Name nameOf(const Byte* text);

// True if `name` is spelled like the literal `text`.
template <size_t size>
bool isSpelled(const Name& name, const char (&text)[size]) {
  return name.length == size - 1 && std::memcmp(name.text, text, size - 1) == 0;
}

// True if `length` bytes agree. Names are short, so words of their own, which may
// overlap, beat a call; the last ones go first, since names that share a chain
// often differ in their last digits alone.
VSP_INLINE bool isSameText(const Byte* a, const Byte* b, uint32_t length) {
  if constexpr (!fastPaths) return std::memcmp(a, b, length) == 0;
  if (length >= 8) {
    uint64_t x, y;
    for (uint32_t i = length - 8; i != 0; i = i > 8 ? i - 8 : 0) {
      std::memcpy(&x, a + i, 8);
      std::memcpy(&y, b + i, 8);
      if (x != y) return false;
    }
    std::memcpy(&x, a, 8);
    std::memcpy(&y, b, 8);
    return x == y;
  }
  if (length >= 4) {
    uint32_t x, y, z, w;
    std::memcpy(&x, a, 4);
    std::memcpy(&y, b, 4);
    std::memcpy(&z, a + length - 4, 4);
    std::memcpy(&w, b + length - 4, 4);
    return ((x ^ y) | (z ^ w)) == 0;
  }
  while (length != 0 && a[length - 1] == b[length - 1]) --length;
  return length == 0;
}

// Enters a name that no chain holds; for findEntry.
[[gnu::noinline]] IdentEntry* makeEntry(const Name& name);

// Finds or makes the entry of a name of at most nameLengthLimit bytes.
VSP_INLINE IdentEntry* findEntry(const Name& name) {
  for (uint32_t offset = hashTable[name.hash & (hashChainCount - 1)]; offset != 0;) {
    IdentEntry* const entry = entryAt(offset);
    if (entry->nameLength == name.length && isSameText(entry->spelling(), name.text, name.length))
      return entry;
    offset = entry->next;
  }
  return makeEntry(name);
}

// The same for a NUL-terminated text.
IdentEntry* lookupName(const Byte* text);

// A filter in front of the table: a bit for every name that is more than plain text,
// as macros and keywords that are written in another way. A name whose bit is not set
// need not be looked up. Bits are set in the course of a unit and never cleared, and a
// plain name may share one, so a set bit says nothing.
constexpr uint32_t nameFilterBits = 32768;
extern uint64_t nameFilter[nameFilterBits / 64];

// The bit of a name: `first` holds its first bytes, up to eight, zeros after them,
// `last` its last ones in the same way.
VSP_INLINE uint32_t filterIndex(uint64_t first, uint64_t last) {
  return uint32_t(((first ^ (last << 23 | last >> 41)) * 0x9E3779B97F4A7C15U) >> 49);
}
static_assert(nameFilterBits == 1U << (64 - 49));

// Sets the bit of a name.
void noteSpecialName(const Byte* text, uint32_t length);

// True if the bit of the name is set. The eight bytes before its end, and after its
// start, can be read.
VSP_INLINE bool isSpecialName(const Byte* text, uint32_t length) {
  uint64_t first, last;
  std::memcpy(&first, text, 8);
  std::memcpy(&last, text + length - 8, 8);
  const uint32_t unused = length < 8 ? 64 - 8 * length : 0;
  const uint32_t index = filterIndex(first << unused >> unused, last >> unused);
  return (nameFilter[index / 64] >> (index % 64) & 1) != 0;
}

// Names whose text is made at each use. The table knows nothing of them.
enum DynamicName : Byte {
  dynamicNone,
  dynamicStdc,
  dynamicFile,
  dynamicLine,
  dynamicDate,
  dynamicTime,
  dynamicCplusplus
};

// Which dynamic name this is; __STDC__ is one in strict mode, __cplusplus in C++.
DynamicName dynamicNameOf(const Name& name);

// The test that `defined` makes: a macro or a dynamic name.
bool isDefined(const Name& name);

// How many characters of a name count in this unit.
extern uint32_t identLimit;

// Empties the table and sets identLimit; the start of a unit.
void resetNames();
