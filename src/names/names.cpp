// The identifier table: growth, new entries, and the order of -Sd.

#include "names/names.h"

#include <algorithm>
#include <array>
#include <new>

#include "options/option_image.h"

constinit const Byte noMacro[1] = {0};
constinit uint64_t nameFilter[nameFilterBits / 64] = {};
constinit uint32_t nameFilterChange = 1;
constinit uint32_t changedFilterBits[filterChangesKept] = {};
constinit uint32_t identLimit = defaultIdentLimit;

constinit const std::array<Byte, 256> nameBytes = [] {
  std::array<Byte, 256> table{};
  for (size_t c = 0; c < table.size(); ++c) table[c] = isWordByte(Byte(c));
  return table;
}();

// The slots of a unit with few names. A unit of a few lines enters some 200.
constexpr uint32_t firstSlotCount = 1024;
static constinit uint32_t firstSlots[firstSlotCount] = {};

constinit NameTable nameTable{firstSlots, firstSlotCount - 1, 0};

Name nameOf(const Byte* text) {
  return makeName(text, uint32_t(std::strlen(asChars(text))));
}

// Puts an entry into the first free slot from its place on.
static void fillSlot(const IdentEntry* entry) {
  const size_t offset = size_t(reinterpret_cast<const Byte*>(entry) - saveBase);
  uint32_t place = entry->hash & nameTable.slotMask;
  while (nameTable.slots[place] != 0) place = (place + 1) & nameTable.slotMask;
  nameTable.slots[place] = uint32_t(offset / 8) | (entry->hash & ~slotOffsetMask);
}

// Doubles the number of slots.
VSP_COLD static void growTable() {
  const NameTable old = nameTable;
  const uint32_t size = (old.slotMask + 1) * 2 * uint32_t(sizeof(uint32_t));
  nameTable.slots = static_cast<uint32_t*>(memAlloc(size));
  nameTable.slotMask = old.slotMask * 2 + 1;
  std::memset(nameTable.slots, 0, size);
  for (uint32_t i = 0; i <= old.slotMask; ++i)
    if (old.slots[i] != 0) fillSlot(entryOfSlot(old.slots[i]));
  if (old.slots != firstSlots) memFree(old.slots);
}

IdentEntry* makeEntry(const Name& name) {
  Byte* const place = carveSAVE(offsetof(IdentEntry, firstByte) + name.length + 1);
  IdentEntry* const entry = new (place) IdentEntry;
  entry->macroBody = noMacro;
  entry->hash = name.hash;
  entry->tokenCode = 0;
  entry->nameLength = Byte(name.length);
  Byte* const spelling = place + offsetof(IdentEntry, firstByte);
  std::memcpy(spelling, name.text, name.length);
  spelling[name.length] = 0;
  if (++nameTable.entryCount > nameTable.slotMask / 2) growTable();
  fillSlot(entry);
  return entry;
}

IdentEntry* lookupName(const Byte* text) {
  return findEntry(nameOf(text));
}

void noteSpecialName(const Byte* text, uint32_t length) {
  const uint32_t part = length < 8 ? length : 8;
  uint64_t first = 0, last = 0;
  std::memcpy(&first, text, part);
  std::memcpy(&last, text + length - part, part);
  const uint32_t index = filterIndex(first, last);
  const uint64_t bit = uint64_t{1} << (index % 64);
  if ((nameFilter[index / 64] & bit) != 0) return;
  nameFilter[index / 64] |= bit;
  changedFilterBits[++nameFilterChange % filterChangesKept] = index;
}

// The names that dynamicNameOf may know, and the prefix of wide literals.
static void noteDynamicNames() {
  for (const char* const name :
       {"__STDC__", "__FILE__", "__LINE__", "__DATE__", "__TIME__", "__cplusplus", "L"})
    noteSpecialName(asBytes(name), uint32_t(std::strlen(name)));
}

DynamicName dynamicNameOf(const Name& name) {
  if (name.length < 2 || name.text[0] != '_' || name.text[1] != '_') return dynamicNone;
  if (isSpelled(name, "__STDC__")) return optionImage.languageLevel == levelAnsi ? dynamicStdc : dynamicNone;
  if (isSpelled(name, "__FILE__")) return dynamicFile;
  if (isSpelled(name, "__LINE__")) return dynamicLine;
  if (isSpelled(name, "__DATE__")) return dynamicDate;
  if (isSpelled(name, "__TIME__")) return dynamicTime;
  if (isSpelled(name, "__cplusplus")) return cplusplusMode ? dynamicCplusplus : dynamicNone;
  return dynamicNone;
}

bool isDefined(const Name& name) {
  return dynamicNameOf(name) != dynamicNone || findEntry(name)->isMacro();
}

// --- The order of -Sd ---

// The order that users of -Sd know is that of a table with 32,768 chains, new names
// in front, whose hash is a sum of one step per byte less the length. It is worked
// out when it is asked for. The steps come from a fixed generator.
constexpr std::array<int32_t, 256> listSteps = [] {
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
}();
static_assert(listSteps['0'] == 25 && listSteps['1'] == 5969 && listSteps['A'] == -26603);
static_assert(listSteps['a'] == 6125 && listSteps['b'] == -5540 && listSteps['c'] == -12196);
static_assert(listSteps['_'] == -8758);

constexpr uint32_t listChainCount = 32768;

static uint32_t listChain(const IdentEntry* entry) {
  uint32_t sum = 0;
  for (const Byte* c = entry->spelling(); *c != 0; ++c) sum += uint32_t(listSteps[*c]) - 1;
  return sum % listChainCount;
}

// Entries are cut off the SAVE region one after the other, so a later one stands at
// a higher address.
static bool isListedBefore(const IdentEntry* a, const IdentEntry* b) {
  const uint32_t chainOfA = listChain(a);
  const uint32_t chainOfB = listChain(b);
  return chainOfA != chainOfB ? chainOfA < chainOfB : a > b;
}

IdentEntry** listMacros(size_t& count) {
  IdentEntry** const macros =
      static_cast<IdentEntry**>(memAlloc(nameTable.entryCount * uint32_t(sizeof(void*))));
  count = 0;
  for (uint32_t i = 0; i <= nameTable.slotMask; ++i) {
    if (nameTable.slots[i] == 0) continue;
    IdentEntry* const entry = entryOfSlot(nameTable.slots[i]);
    if (entry->isMacro()) macros[count++] = entry;
  }
  std::sort(macros, macros + count, isListedBefore);
  return macros;
}

void resetNames() {
  std::memset(firstSlots, 0, sizeof firstSlots);
  nameTable = {firstSlots, firstSlotCount - 1, 0};
  std::memset(nameFilter, 0, sizeof nameFilter);
  nameFilterChange += filterChangesKept + 1;  // nothing that is known of older states holds any more
  noteDynamicNames();
  identLimit = optionImage.maxIdentLength;
  if (identLimit == 0 || (cplusplusMode && optionImage.languageLevel == levelAnsi))
    identLimit = defaultIdentLimit;
}
