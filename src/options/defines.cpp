// The store of -D: a list in the order of the switches, and chains by name, as many
// as there are definitions or more, since generated command lines hold a million.

#include "options/defines.h"

#include <cstring>

#include "diag/report.h"
#include "memory/memory.h"

constinit CommandDefine* commandDefines = nullptr;
static constinit CommandDefine* lastDefine = nullptr;

constexpr size_t firstChainCount = 64;
static constinit CommandDefine* firstChains[firstChainCount] = {};

static constinit CommandDefine** chains = firstChains;
static constinit size_t chainCount = firstChainCount;  // a power of two
static constinit size_t defineCount = 0;

static CommandDefine*& chainOf(uint32_t hash) {
  return chains[hash & (chainCount - 1)];
}

static uint32_t hashOf(const char* name, size_t length) {
  uint32_t hash = 2166136261U;
  for (size_t i = 0; i < length; ++i) hash = (hash ^ Byte(name[i])) * 16777619U;
  return hash ^ hash >> 15;
}

void clearCommandDefines() {
  for (CommandDefine*& chain : firstChains) chain = nullptr;
  chains = firstChains;
  chainCount = firstChainCount;
  defineCount = 0;
  commandDefines = lastDefine = nullptr;
}

// Doubles the number of chains.
static void growChains() {
  chainCount *= 2;
  chains = static_cast<CommandDefine**>(permAlloc(chainCount * sizeof(void*)));
  std::memset(chains, 0, chainCount * sizeof(void*));
  for (CommandDefine* node = commandDefines; node != nullptr; node = node->next) {
    CommandDefine*& chain = chainOf(node->hash);
    node->nextInChain = chain;
    chain = node;
  }
}

static CommandDefine* findCommandDefine(const char* name, size_t length, uint32_t hash) {
  CommandDefine* node = chainOf(hash);
  while (node != nullptr &&
         (node->hash != hash || node->nameLength != length || std::memcmp(node->name, name, length) != 0))
    node = node->nextInChain;
  return node;
}

void addDefine(const char* name, size_t nameLength, const char* value, size_t valueLength) {
  const uint32_t hash = hashOf(name, nameLength);
  if (const CommandDefine* const node = findCommandDefine(name, nameLength, hash)) {
    if (node->valueLength != valueLength || std::memcmp(node->value, value, valueLength) != 0)
      reportWarning(warnRedefinition, node->name);
    return;
  }
  if (defineCount == chainCount) growChains();
  ++defineCount;
  CommandDefine*& chain = chainOf(hash);
  CommandDefine* const node = permRecord<CommandDefine>();
  *node = {.next = nullptr,
           .previous = lastDefine,
           .nextInChain = chain,
           .hash = hash,
           .nameLength = uint32_t(nameLength),
           .valueLength = valueLength,
           .value = permCopy(value, valueLength),
           .name = permCopy(name, nameLength)};
  chain = node;
  (lastDefine == nullptr ? commandDefines : lastDefine->next) = node;
  lastDefine = node;
}

// Adds one item of -D; an empty one says nothing.
static void addDefineItem(const char* item, size_t length) {
  if (length == 0) return;
  const void* const equals = std::memchr(item, '=', length);
  const size_t nameLength = equals == nullptr ? length : size_t(static_cast<const char*>(equals) - item);
  const size_t valueStart = equals == nullptr ? length : nameLength + 1;
  addDefine(item, nameLength, item + valueStart, length - valueStart);
}

void addCommandDefine(const char* text) {
  const char* item = text;
  for (;; ++text) {
    if (*text == '\\' && text[1] != 0) {
      ++text;
    } else if (*text == ';' || *text == 0) {
      addDefineItem(item, size_t(text - item));
      if (*text == 0) return;
      item = text + 1;
    }
  }
}

void removeCommandDefine(const char* name) {
  const size_t length = std::strlen(name);
  const uint32_t hash = hashOf(name, length);
  CommandDefine* const node = findCommandDefine(name, length, hash);
  if (node == nullptr) return;
  --defineCount;
  (node->previous == nullptr ? commandDefines : node->previous->next) = node->next;
  (node->next == nullptr ? lastDefine : node->next->previous) = node->previous;
  CommandDefine** link = &chainOf(hash);
  while (*link != node) link = &(*link)->nextInChain;
  *link = node->nextInChain;
}
