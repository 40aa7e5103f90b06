// The files read: a hash table with open addressing.
//
// Entries are never deleted. Each has the number of the unit that read the file
// last, and so is out of date when the next unit begins.

#include "platform/read_files.h"

#include <cstdlib>

// Numbers of readers. A unit's is larger.
constexpr uint32_t nobody = 0;  // a free entry
constexpr uint32_t wholeRun = 1;
constexpr uint32_t anyReader = UINT32_MAX;  // all of them

struct ReadFile {
  FileIdentity file;
  uint32_t reader;
};

// Room for the files of an ordinary unit.
constexpr uint32_t startCapacity = 128;

static constinit ReadFile startTable[startCapacity] = {};
static constinit ReadFile* table = startTable;
static constinit uint32_t tableMask = startCapacity - 1;
static constinit uint32_t tableUsed = 0;
static constinit bool tableIncomplete = false;  // a file could not be noted
static constinit uint32_t reader = wholeRun;

static constinit FileIdentity watched = noFile;
static constinit volatile bool watchedRead = false;
static constinit bool anyRead = false;

// The entry of `file`, or the free one where it would stand.
static ReadFile& findEntry(ReadFile* entries, uint32_t mask, FileIdentity file) {
  const uint64_t hash = (file.inode ^ file.device << 32) * 0x9E3779B97F4A7C15u;
  uint32_t i = uint32_t(hash >> 32) & mask;
  while (entries[i].reader != nobody && !(entries[i].file == file)) i = (i + 1) & mask;
  return entries[i];
}

// Doubles the table, which is half full. False if there is no memory.
static bool growTable() {
  const uint32_t capacity = (tableMask + 1) * 2;
  ReadFile* const grown = static_cast<ReadFile*>(std::calloc(capacity, sizeof(ReadFile)));
  if (grown == nullptr) return false;
  for (uint32_t i = 0; i <= tableMask; ++i)
    if (table[i].reader != nobody) findEntry(grown, capacity - 1, table[i].file) = table[i];
  if (table != startTable) std::free(table);
  table = grown;
  tableMask = capacity - 1;
  return true;
}

static void note(FileIdentity file, uint32_t by) {
  anyRead = true;
  if (file == watched) watchedRead = true;
  ReadFile* entry = &findEntry(table, tableMask, file);
  if (entry->reader == nobody) {
    if (tableUsed * 2 > tableMask) {
      if (!growTable()) {
        tableIncomplete = true;
        return;
      }
      entry = &findEntry(table, tableMask, file);
    }
    entry->file = file;
    ++tableUsed;
  }
  if (entry->reader != wholeRun) entry->reader = by;
}

void beginUnitFiles() {
  ++reader;
}

void listUnitFiles(void (*take)(FileIdentity file)) {
  for (uint32_t i = 0; i <= tableMask; ++i)
    if (table[i].reader == reader) take(table[i].file);
}

void countAllReaders() {
  reader = anyReader;
}

void forgetReadFiles() {
  if (table != startTable) std::free(table);
  if (tableUsed != 0)
    for (ReadFile& entry : startTable) entry = {};
  table = startTable;
  tableMask = startCapacity - 1;
  tableUsed = 0;
  tableIncomplete = false;
  reader = wholeRun;
  watchFile(noFile);
}

void noteRead(FileIdentity file) {
  note(file, reader);
}

void noteReadForRun(FileIdentity file) {
  note(file, wholeRun);
}

bool wasRead(FileIdentity file) {
  const uint32_t by = findEntry(table, tableMask, file).reader;
  if (reader == anyReader && by != nobody) return true;
  return by == wholeRun || by == reader || (by == nobody && tableIncomplete);
}

void watchFile(FileIdentity file) {
  watched = file;
  watchedRead = false;
  anyRead = false;
}

bool watchedFileWasRead() {
  return watchedRead;
}

bool anyReadSinceWatch() {
  return anyRead;
}
