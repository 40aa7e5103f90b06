// The files that a pattern names. A pattern without a wildcard is looked up
// like any other name, so that the ordinary call with one file lists nothing; nor
// does it ask the allocator, whose first use is 3 system calls and 2 pages.
// For a pattern with one the directory is read, and the names are kept sorted
// until the search is closed.

#include "platform/file_search.h"

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>

#include <cstdlib>
#include <cstring>

#include "platform/directory_posix.h"
#include "platform/host_names.h"
#include "platform/paths.h"

struct FileMatches {
  char** names;  // `count` of them, each a block of its own; null if `only` is the one
  size_t count;
  size_t room;  // how many `names` has room for
  size_t next;  // the one that nextMatch gives next
  char only[NAME_MAX + 1];
};

// The search that is going on.
static constinit FileMatches search = {};

// True if `name` matches `pattern`. A star that fails is tried again one byte
// further on; only the last star matters, so the time is bounded by the product
// of the lengths.
static bool matchesPattern(const char* pattern, const char* name) {
  const char* starPattern = nullptr;
  const char* starName = nullptr;
  while (*name != 0) {
    if (*pattern == '*') {
      starPattern = ++pattern;
      starName = name;
    } else if (*pattern == '?' || foldCase(Byte(*pattern)) == foldCase(Byte(*name))) {
      ++pattern;
      ++name;
    } else if (starPattern != nullptr) {
      pattern = starPattern;
      name = ++starName;
    } else {
      return false;
    }
  }
  while (*pattern == '*') ++pattern;
  return *pattern == 0;
}

// True for what can be read like a file.
static bool isReadable(const struct stat& status) {
  return S_ISREG(status.st_mode) || S_ISFIFO(status.st_mode) || S_ISCHR(status.st_mode) ||
         S_ISBLK(status.st_mode);
}

// Appends a copy of `name`; false if there is no memory.
static bool addMatch(FileMatches* matches, const char* name) {
  if (matches->count == matches->room) {
    const size_t room = matches->room == 0 ? 16 : matches->room * 2;
    void* const grown = std::realloc(matches->names, room * sizeof(char*));
    if (grown == nullptr) return false;
    matches->names = static_cast<char**>(grown);
    matches->room = room;
  }
  char* const copy = strdup(name);
  if (copy == nullptr) return false;
  matches->names[matches->count++] = copy;
  return true;
}

// Finds the one name of a pattern without a wildcard.
static ResolveOutcome matchOne(FileMatches* matches, char* name) {
  struct stat status;
  const ResolveOutcome outcome = findHostStatus(name, status);
  if (outcome != resolveFound || !isReadable(status)) return outcome;
  const char* const last = name + hostNameStart(name);
  const size_t length = std::strlen(last);
  if (length > NAME_MAX) return resolveMissing;
  std::memcpy(matches->only, last, length + 1);
  matches->count = 1;
  return resolveFound;
}

// For qsort: two names in byte order.
static int compareNames(const void* a, const void* b) {
  return std::strcmp(*static_cast<char* const*>(a), *static_cast<char* const*>(b));
}

// True if the entry can be read as a file. Where the host doesn't say, the name
// counts: opening it will tell the user why it can't be read.
static bool isReadableEntry(DIR* directory, const dirent* entry) {
  if (entry->d_type == DT_REG) return true;
  if (entry->d_type == DT_DIR) return false;
  struct stat status;
  if (fstatat(dirfd(directory), entry->d_name, &status, 0) == 0) return isReadable(status);
  return outcomeOfError(errno) != resolveMissing;
}

// Adds the names in `directory` that match `pattern`, sorted.
static ResolveOutcome matchMany(FileMatches* matches, DIR* directory, const char* pattern) {
  const bool all = std::strcmp(pattern, "*.*") == 0;
  while (const dirent* entry = nextEntry(directory)) {
    const char* const name = entry->d_name;
    if (name[0] == '.') continue;
    if (!all && !matchesPattern(pattern, name)) continue;
    if (isReadableEntry(directory, entry) && !addMatch(matches, name)) return resolveNoMemory;
  }
  if (errno != 0) return outcomeOfError(errno) == resolveNoMemory ? resolveNoMemory : resolveBroken;
  if (matches->count > 1) std::qsort(matches->names, matches->count, sizeof(char*), compareNames);
  return resolveFound;
}

// Opens the directory part of `name`, the first `start` bytes, which it may spell
// anew. Null with the reason in `outcome` on failure.
static DIR* openDirectoryOf(const char* name, size_t start, ResolveOutcome& outcome) {
  char path[hostNameSize] = ".";
  if (start != 0) {
    std::memcpy(path, name, start);
    path[start] = 0;
  }
  DIR* directory = openDirectory(path);
  if (directory == nullptr) {
    outcome = outcomeOfError(errno);
    if (outcome != resolveMissing || start == 0) return nullptr;
    outcome = resolveHostDirectories(path);
    if (outcome != resolveFound) return nullptr;
    directory = openDirectory(path);
    if (directory == nullptr) outcome = outcomeOfError(errno);
  }
  return directory;
}

// Finds the matches of a pattern in the host's spelling.
static ResolveOutcome findMatches(FileMatches* matches, char* name) {
  const size_t start = hostNameStart(name);
  if (std::strpbrk(name + start, "*?") == nullptr) return matchOne(matches, name);
  ResolveOutcome outcome = resolveMissing;
  DIR* const directory = openDirectoryOf(name, start, outcome);
  if (directory == nullptr) return outcome;
  outcome = matchMany(matches, directory, name + start);
  closedir(directory);
  return outcome;
}

FindOutcome findFiles(const char* pattern, FileMatches*& matches) {
  char name[hostNameSize];
  matches = nullptr;
  if (!spellHostName(pattern, name)) return filesMissing;
  search.names = nullptr;
  search.count = search.room = search.next = 0;
  matches = &search;
  const ResolveOutcome outcome = findMatches(matches, name);
  if (outcome == resolveFound && matches->count != 0) return filesFound;
  closeMatches(matches);
  matches = nullptr;
  if (outcome == resolveNoMemory) return filesNoMemory;
  return outcome == resolveNoDescriptor || outcome == resolveBroken ? filesBroken : filesMissing;
}

const char* nextMatch(FileMatches* matches) {
  if (matches->next == matches->count) return nullptr;
  const size_t i = matches->next++;
  return matches->names == nullptr ? matches->only : matches->names[i];
}

void closeMatches(FileMatches* matches) {
  if (matches == nullptr || matches->names == nullptr) return;
  for (size_t i = 0; i < matches->count; ++i) std::free(matches->names[i]);
  std::free(matches->names);
}

bool foldsFileNames(const char*) {
  return false;
}
