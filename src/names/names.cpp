// The identifier table.
//
// Chains hang on 32,768 heads that hold offsets into the SAVE region: half the
// size of pointers, so half the pages that a unit touches. The hash is a sum of
// one step per byte.

#include "names/names.h"

#include <array>
#include <new>

#include "options/option_image.h"

constinit const Byte noMacro[1] = {0};
constinit uint32_t hashTable[hashChainCount] = {};
constinit uint64_t nameFilter[nameFilterBits / 64] = {};
constinit uint32_t identLimit = 250;

// The steps come from a fixed generator, so that every run has the same hashes.
constexpr std::array<int32_t, 256> hashSteps = [] {
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
static_assert(hashSteps['0'] == 25 && hashSteps['1'] == 5969 && hashSteps['A'] == -26603);
static_assert(hashSteps['a'] == 6125 && hashSteps['b'] == -5540 && hashSteps['c'] == -12196);
static_assert(hashSteps['_'] == -8758 && hashSteps['$'] == 0 && hashSteps[0x80] == 0);

const int32_t* const hashStep = hashSteps.data();

Name nameOf(const Byte* text) {
  uint32_t sum = 0;
  uint32_t length = 0;
  for (; text[length] != 0; ++length) sum += uint32_t(hashSteps[text[length]]);
  return makeName(text, length, sum);
}

IdentEntry* makeEntry(const Name& name) {
  uint32_t& head = hashTable[name.hash & (hashChainCount - 1)];
  Byte* const place = carveSAVE(offsetof(IdentEntry, firstByte) + name.length + 1);
  IdentEntry* const entry = new (place) IdentEntry;
  entry->macroBody = noMacro;
  entry->next = head;
  entry->tokenCode = 0;
  entry->nameLength = Byte(name.length);
  Byte* const spelling = place + offsetof(IdentEntry, firstByte);
  std::memcpy(spelling, name.text, name.length);
  spelling[name.length] = 0;
  head = uint32_t(place - saveBase);
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
  nameFilter[index / 64] |= uint64_t{1} << (index % 64);
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

void resetNames() {
  std::memset(hashTable, 0, sizeof hashTable);
  std::memset(nameFilter, 0, sizeof nameFilter);
  noteDynamicNames();
  identLimit = optionImage.maxIdentLength;
  if (identLimit == 0 || (cplusplusMode && optionImage.languageLevel == levelAnsi)) identLimit = 250;
}
