// The fast guard and the header statistics.
//
// The guard table maps the name of a file to the macro that guards it. A skip is
// sound because everything outside the guarded group is blank or comment, and
// the group is false while the macro is defined; so the macro alone is asked, at
// each #include anew.

#include "input/guard.h"

#include <cstring>
#include <new>

#include "input/frame.h"
#include "memory/memory.h"
#include "names/names.h"
#include "options/option_image.h"
#include "platform/paths.h"
#include "record/explain.h"

constinit GuardState guards = {};

// One guarded file.
struct GuardNode {
  GuardNode* next;
  uint32_t hash;         // of the file's name
  const char* fileName;  // as it was pushed
  const char* macroName;
};

void resetGuards() {
  guards = {};
}

// Ignores the case of letters, as the comparison after it does.
static uint32_t fileNameHash(const char* name) {
  uint32_t sum = 0;
  for (; *name != 0; ++name) sum += uint32_t(Byte(*name) & ~0x20U) - 1;
  return sum;
}

static const GuardNode* findGuard(const char* name, uint32_t hash) {
  for (const GuardNode* node = guards.chains->first[hash % guardChainCount]; node != nullptr;
       node = node->next)
    if (node->hash == hash && sameFileName(node->fileName, name)) return node;
  return nullptr;
}

bool guardAllowsSkip(const char* name) {
  if (guards.chains == nullptr) return false;
  const GuardNode* const node = findGuard(name, fileNameHash(name));
  if (node == nullptr || !lookupName(asBytes(node->macroName))->isMacro()) return false;
  if (explaining) [[unlikely]]
    if (isExplained(asBytes(node->macroName), std::strlen(node->macroName))) explainSkippedFile(name);
  return true;
}

void addGuard(const char* fileName, const char* macroName) {
  if (guards.chains == nullptr) guards.chains = new (memAlloc(sizeof(GuardChains))) GuardChains{};
  const uint32_t hash = fileNameHash(fileName);
  if (findGuard(fileName, hash) != nullptr) return;
  const size_t fileLength = std::strlen(fileName);
  const size_t macroLength = std::strlen(macroName);
  char* const block =
      static_cast<char*>(memAlloc(uint32_t(sizeof(GuardNode) + fileLength + macroLength + 2)));
  GuardNode* const node = new (block) GuardNode;
  char* const file = block + sizeof(GuardNode);
  char* const macro = file + fileLength + 1;
  std::memcpy(file, fileName, fileLength + 1);
  std::memcpy(macro, macroName, macroLength + 1);
  GuardNode*& chain = guards.chains->first[hash % guardChainCount];
  *node = {chain, hash, file, macro};
  chain = node;
}

// --- Header statistics ---

// The link to the record of `name`, or that at the end of the list.
static HeaderRecord** findHeader(const char* name) {
  HeaderRecord** link = &guards.headerList;
  while (*link != nullptr && !sameFileName((*link)->name, name)) link = &(*link)->next;
  return link;
}

static HeaderRecord* makeHeader(const char* name) {
  HeaderRecord* const record = new (memAlloc(sizeof(HeaderRecord))) HeaderRecord{};
  record->name = memCopy(name, std::strlen(name));
  record->startTotal = totalLines;
  return record;
}

// Notes that `includer` included `header` directly, once under each spelling that
// is not the record's own.
static void addChild(HeaderRecord* includer, HeaderRecord* header, const char* name) {
  HeaderChild** tail = &includer->children;
  for (; *tail != nullptr; tail = &(*tail)->next)
    if (std::strcmp((*tail)->record->name, name) == 0) return;
  *tail = new (memAlloc(sizeof(HeaderChild))) HeaderChild{header, nullptr};
}

// The record of exactly this name: a file that #line has renamed has none.
static HeaderRecord* findIncluder(const char* name) {
  for (HeaderRecord* record = guards.headerList; record != nullptr; record = record->next)
    if (std::strcmp(record->name, name) == 0) return record;
  return nullptr;
}

void countHeader(const char* name, const char* includer) {
  HeaderRecord*& record = *findHeader(name);
  if (record == nullptr) record = makeHeader(name);
  ++record->includeCount;
  if (guards.headerList->next == nullptr || includer == nullptr) return;
  if (HeaderRecord* const from = findIncluder(includer)) addChild(from, record, name);
}

void completeHeader(const char* name, int32_t guardFirstLine, int32_t guardLastLine) {
  HeaderRecord* const record = *findHeader(name);
  if (record == nullptr) return;
  if ((optionImage.outputFlags & guardDetailsFlag) != 0 && guardFirstLine != 0 && guardLastLine != 0) {
    record->guardFirstLine = guardFirstLine;
    record->guardLastLine = guardLastLine;
  }
  if ((optionImage.outputFlags & headerStatisticsFlag) != 0) {
    if (record->lines == 0) record->lines = currentLine;
    if (record->endTotal == 0) record->endTotal = totalLines;
  }
}
