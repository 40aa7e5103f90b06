// The store of -D: a list in the order of the switches, and chains by name, since
// generated command lines hold thousands.

#include "options/defines.h"

#include <cstring>

#include "diag/report.h"
#include "memory/memory.h"

constinit CommandDefine* commandDefines = nullptr;
static constinit CommandDefine** commandDefinesTail = &commandDefines;

constexpr size_t defineChainCount = 1024;
static constinit CommandDefine* defineChains[defineChainCount] = {};

static CommandDefine*& defineChain(const char* name, size_t length) {
  uint32_t hash = 2166136261U;
  for (size_t i = 0; i < length; ++i) hash = (hash ^ Byte(name[i])) * 16777619U;
  return defineChains[(hash ^ hash >> 15) % defineChainCount];
}

void clearCommandDefines() {
  for (CommandDefine*& chain : defineChains) chain = nullptr;
  commandDefines = nullptr;
  commandDefinesTail = &commandDefines;
}

// True if the NUL-terminated `text` consists of these bytes.
static bool isText(const char* text, const char* bytes, size_t length) {
  return std::strlen(text) == length && std::memcmp(text, bytes, length) == 0;
}

static CommandDefine* findCommandDefine(const char* name, size_t length) {
  CommandDefine* node = defineChain(name, length);
  while (node != nullptr && !isText(node->name, name, length)) node = node->nextInChain;
  return node;
}

void addDefine(const char* name, size_t nameLength, const char* value, size_t valueLength) {
  if (const CommandDefine* const node = findCommandDefine(name, nameLength)) {
    if (!isText(node->value, value, valueLength)) reportWarning(warnRedefinition, node->name);
    return;
  }
  CommandDefine*& chain = defineChain(name, nameLength);
  CommandDefine* const node = permRecord<CommandDefine>();
  *node = {.next = nullptr,
           .nextInChain = chain,
           .value = permCopy(value, valueLength),
           .name = permCopy(name, nameLength)};
  chain = node;
  *commandDefinesTail = node;
  commandDefinesTail = &node->next;
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
  CommandDefine* const node = findCommandDefine(name, length);
  if (node == nullptr) return;
  CommandDefine** link = &commandDefines;
  while (*link != node) link = &(*link)->next;
  *link = node->next;
  if (commandDefinesTail == &node->next) commandDefinesTail = link;
  CommandDefine** chain = &defineChain(name, length);
  while (*chain != node) chain = &(*chain)->nextInChain;
  *chain = node->nextInChain;
}
