// The identifier table: one entry per name of a unit, which is keyword, macro
// and name at once.
//
// A name that has been read is passed around as a value: its bytes, their number and their hash. The table
// turns it into an entry, and entries compare by address. findEntry enters a
// name that is new; findKnown only looks. Entries live in the SAVE
// region until the unit ends.
//
// The table is an array of 32-bit slots, searched from the place that the hash
// gives on, with an entry in at most every second slot. A slot holds where its
// entry stands and nine bits of the hash, so nearly every slot of another name is
// passed without a look at its entry:
//
//   | hash bits 31..23 | offset of the entry in the SAVE region / 8, 23 bits |
//
// The array is small at first, so that a small unit touches one page of it, and
// doubles; it is no part of the SAVE region.

#pragma once

#include <array>
#include <bit>
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
  uint32_t hash;          // of the spelling
  Byte tokenCode;         // of a keyword, 0 for a plain name
  Byte nameLength;        // of the spelling without its NUL
  Byte firstByte;         // the spelling, NUL-terminated, begins here

  const Byte* spelling() const { return &firstByte; }
  bool isMacro() const { return macroBody != noMacro; }
};

// Nothing lies between the fields: names are the bulk of a unit's memory. On a
// 32-bit host the spelling follows ten bytes.
static_assert(offsetof(IdentEntry, firstByte) == sizeof(void*) + 6);

// The longest name that an entry holds.
constexpr uint32_t nameLengthLimit = 255;

// Entries stand at multiples of 8, and offset 0 is none, so an empty slot is 0.
constexpr int slotOffsetBits = 23;
constexpr uint32_t slotOffsetMask = (1U << slotOffsetBits) - 1;
static_assert(saveRegionSize / 8 <= size_t{1} << slotOffsetBits);

// The slots: a power of two of them, `slotMask` + 1.
struct NameTable {
  uint32_t* slots;
  uint32_t slotMask;
  uint32_t entryCount;
};
extern NameTable nameTable;

inline IdentEntry* entryOfSlot(uint32_t slot) {
  return reinterpret_cast<IdentEntry*>(saveBase + size_t{slot & slotOffsetMask} * 8);
}

// 1 for the bytes that a name may hold.
extern const std::array<Byte, 256> nameBytes;

VSP_INLINE bool isNameByte(Byte c) {
  return nameBytes[c] != 0;
}

// Spreads the bits of a word: the golden ratio in 64 bits.
constexpr uint64_t hashFactor = 0x9E3779B97F4A7C15;

// The two halves of the product, so that each bit of the result depends on every bit
// of `word`.
VSP_INLINE uint64_t mixWord(uint64_t state, uint64_t word) {
#ifdef __SIZEOF_INT128__
  __extension__ using Wide = unsigned __int128;
  const Wide product = Wide{state ^ word} * hashFactor;
  return uint64_t(product) ^ uint64_t(product >> 64);
#else
  const uint64_t value = state ^ word;
  const uint64_t low = (value & 0xFFFFFFFF) * (hashFactor & 0xFFFFFFFF);
  const uint64_t first = (value >> 32) * (hashFactor & 0xFFFFFFFF) + (low >> 32);
  const uint64_t second = (value & 0xFFFFFFFF) * (hashFactor >> 32) + (first & 0xFFFFFFFF);
  const uint64_t high = (value >> 32) * (hashFactor >> 32) + (first >> 32) + (second >> 32);
  return (value * hashFactor) ^ high;
#endif
}

// The hash of a name: words of eight bytes, the last one overlapping the one before,
// each mixed in by a multiplication. It reads no byte after the name.
VSP_INLINE uint32_t hashName(const Byte* text, uint32_t length) {
  uint64_t state = length;
  uint64_t word;
  if (length >= 8) {
    for (uint32_t i = 0; i + 8 < length; i += 8) {
      std::memcpy(&word, text + i, 8);
      state = mixWord(state, word);
    }
    std::memcpy(&word, text + length - 8, 8);
  } else if (length >= 4) {
    uint32_t first, last;
    std::memcpy(&first, text, 4);
    std::memcpy(&last, text + length - 4, 4);
    word = first | uint64_t{last} << 32;
  } else if (length != 0) {
    word = text[0] | uint64_t{text[length / 2]} << 8 | uint64_t{text[length - 1]} << 16;
  } else {
    word = 0;
  }
  return uint32_t(mixWord(state, word));
}

// The name of `length` bytes at `text`.
VSP_INLINE Name makeName(const Byte* text, uint32_t length) {
  return {text, length, hashName(text, length)};
}

// The name that a NUL-terminated text spells.
Name nameOf(const Byte* text);

// True if `name` is spelled like the literal `text`.
template <size_t size>
bool isSpelled(const Name& name, const char (&text)[size]) {
  return name.length == size - 1 && std::memcmp(name.text, text, size - 1) == 0;
}

// True if `length` bytes agree. Names are short, so words of their own, which may
// overlap, beat a call.
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

// Enters a name that the table does not hold; for findEntry.
[[gnu::noinline]] IdentEntry* makeEntry(const Name& name);

// The entry of a name of at most nameLengthLimit bytes, or null if it has none.
VSP_INLINE IdentEntry* findKnown(const Name& name) {
  const uint32_t mask = nameTable.slotMask;
  const uint32_t* const slots = nameTable.slots;
  uint32_t place = name.hash & mask;
  for (uint32_t slot; (slot = slots[place]) != 0; place = (place + 1) & mask) {
    if (((slot ^ name.hash) & ~slotOffsetMask) != 0) continue;
    IdentEntry* const entry = entryOfSlot(slot);
    if (entry->nameLength == name.length && isSameText(entry->spelling(), name.text, name.length))
      return entry;
  }
  return nullptr;
}

// The same, but a name that has no entry is given one.
VSP_INLINE IdentEntry* findEntry(const Name& name) {
  IdentEntry* const entry = findKnown(name);
  return entry != nullptr ? entry : makeEntry(name);
}

// The same for a NUL-terminated text.
IdentEntry* lookupName(const Byte* text);

// A filter in front of the table: a bit for every name that is more than plain text,
// as macros and keywords that are written in another way. A name whose bit is not set
// need not be looked up. Bits are set in the course of a unit and never cleared, and a
// plain name may share one, so a set bit says nothing.
constexpr int filterIndexBits = 15;
constexpr uint32_t nameFilterBits = 1U << filterIndexBits;
extern uint64_t nameFilter[nameFilterBits / 64];

// Counts the changes of the filter, over all units, and holds the bits that were set last: a text
// without special names has none as long as no bit of its own names is set.
constexpr uint32_t filterChangesKept = 8;
extern uint32_t nameFilterChange;
extern uint32_t changedFilterBits[filterChangesKept];  // number n stands at n % filterChangesKept

// The bit of a name: `first` holds its first bytes, up to eight, zeros after them,
// `last` its last ones in the same way.
VSP_INLINE uint32_t filterIndex(uint64_t first, uint64_t last) {
  // Any turn will do by which the ends of short names, which are the same, don't cancel out.
  constexpr int turn = 23;
  return uint32_t(((first ^ std::rotl(last, turn)) * hashFactor) >> (64 - filterIndexBits));
}

// Sets the bit of a name.
void noteSpecialName(const Byte* text, uint32_t length);

// The number of the name's bit. The eight bytes after its start can be read.
VSP_INLINE uint32_t filterBitOf(const Byte* text, uint32_t length) {
  uint64_t first, last;
  std::memcpy(&first, text, 8);
  if (length < 8) {
    const uint32_t unused = 64 - 8 * length;
    first = last = first << unused >> unused;
  } else {
    std::memcpy(&last, text + length - 8, 8);
  }
  return filterIndex(first, last);
}

// True if the bit of the name is set.
VSP_INLINE bool isSpecialName(const Byte* text, uint32_t length) {
  const uint32_t index = filterBitOf(text, length);
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

// The macros of the unit in the order in which -Sd lists them, `count` of them, in
// a block of memAlloc.
IdentEntry** listMacros(size_t& count);

// How many characters of a name count in this unit.
extern uint32_t identLimit;

// Empties the table and the filter and sets identLimit; the start of a unit.
void resetNames();
