// The identifier table: one entry per name of a unit, which is keyword, macro
// and name at once.
//
// Names compare by entry address. A lookup never fails: a name is entered the
// first time that it is looked up. Entries live in the SAVE region until the
// unit ends.

#pragma once

#include <cstring>

#include "base.h"
#include "memory/memory.h"
#include "scanner/token.h"

// The mark of a name that is no macro, and of a macro while it is expanded.
extern const Byte noMacro[1];

struct IdentEntry {
  const Byte* macroBody;  // the macro record, or noMacro
  uint32_t next;          // offset in the SAVE region of the next entry of the chain, 0 at the end
  Byte tokenCode;         // of a keyword, 0 for a plain name
  Byte nameLength;        // of the spelling without its NUL
  Byte firstByte;         // the spelling, NUL-terminated, begins here

  const Byte* spelling() const { return &firstByte; }
};

// Nothing lies between the fields: names are the bulk of a unit's memory. On a
// 32-bit host the spelling follows ten bytes.
static_assert(offsetof(IdentEntry, firstByte) == sizeof(void*) + 6);

constexpr int hashChainCount = 32768;

// Chain heads: offsets of entries in the SAVE region, 0 for an empty chain.
extern uint32_t hashTable[hashChainCount];

inline IdentEntry* entryAt(uint32_t offset) {
  return reinterpret_cast<IdentEntry*>(saveBase + offset);
}

// What each byte of a name adds to its hash; 0 for a byte that no name holds.
extern const int32_t* const hashStep;

// Hash and length of the name read last.
extern uint32_t identHash;
extern uint32_t identLength;

// The entry that the scanner looked up last.
extern IdentEntry* currentIdent;

// How many characters of a name count in this unit.
extern uint32_t identLimit;

// Sets identHash and identLength for a NUL-terminated name.
void hashIdentifier(const Byte* name);

// True if `length` bytes agree. Names are short, so words of their own, which may
// overlap, beat a call; the last ones go first, since names that share a chain
// often differ in their last digits alone.
VSP_INLINE bool isSameName(const Byte* a, const Byte* b, uint32_t length) {
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

// Enters a name that no chain holds; for findIdent.
[[gnu::noinline]] IdentEntry* makeIdentEntry(const Byte* name, uint32_t hash, uint32_t length);

// Finds or makes the entry of the `length` bytes at `name`, whose hash is known.
VSP_INLINE IdentEntry* findIdent(const Byte* name, uint32_t hash, uint32_t length) {
  for (uint32_t offset = hashTable[hash & (hashChainCount - 1)]; offset != 0;) {
    IdentEntry* const entry = entryAt(offset);
    if (entry->nameLength == length && isSameName(entry->spelling(), name, length)) return entry;
    offset = entry->next;
  }
  return makeIdentEntry(name, hash, length);
}

// Finds or makes the entry of `name`, with identHash and identLength as they are.
inline IdentEntry* findIdentEntry(const Byte* name) {
  return findIdent(name, identHash, identLength);
}

// hashIdentifier, then findIdentEntry.
IdentEntry* lookupName(const Byte* name);

// True if `name` is a macro; the dynamic names are not considered.
bool isNameDefined(const Byte* name);

// The test behind `defined`: dynamic names count. Uses identHash and identLength.
bool isIdentDefined(const Byte* name);

// Fills the table at the start of a unit, and the entries below.
void installKeywords();

// Entries of names that other folders compare by address.
struct KnownNames {
  IdentEntry* dllexport;
  IdentEntry* dllimport;
  IdentEntry* thread;
  IdentEntry* naked;
  IdentEntry* zephraclass;
  IdentEntry* zephrareturn;
  IdentEntry* pascalimplementation;
  IdentEntry* hidesbase;
  IdentEntry* package;
  IdentEntry* selectany;
  IdentEntry* dynamic;
  IdentEntry* novtable;
  IdentEntry* uuid;
  IdentEntry* nothrow;
  IdentEntry* noreturn;
  IdentEntry* allocate;
  IdentEntry* property;
  IdentEntry* entryFunction;        // main or wmain
  IdentEntry* entryFunctionSymbol;  // the same as a symbol
  IdentEntry* usingStdNames;        // __USING_STD_NAMES__
};
extern KnownNames knownNames;

// Reads an identifier that begins with `c`, already read: its spelling stands at
// tokenTextPtr, which does not move. May change the input stack.
void scanIdentifier(Byte c);
