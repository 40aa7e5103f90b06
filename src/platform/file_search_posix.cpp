// The files that a pattern names. A pattern without a wildcard is looked up
// like any other name, so that the ordinary call with one file lists nothing.
// For a pattern with one the directory is read, and the names are kept sorted
// until the search is closed.

#include "platform/file_search.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <cstdlib>
#include <cstring>

#include "platform/host_names.h"
#include "platform/paths.h"

struct FileMatches {
  char** names;  // `count` of them, each a block of its own
  size_t count;
  size_t room;  // how many `names` has room for
  size_t next;  // the one that nextMatch gives next
};

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

// Appends a copy of `name`; without memory the name is left out.
static void addMatch(FileMatches* matches, const char* name) {
  if (matches->count == matches->room) {
    const size_t room = matches->room == 0 ? 16 : matches->room * 2;
    void* const grown = std::realloc(matches->names, room * sizeof(char*));
    if (grown == nullptr) return;
    matches->names = static_cast<char**>(grown);
    matches->room = room;
  }
  char* const copy = strdup(name);
  if (copy != nullptr) matches->names[matches->count++] = copy;
}

// Adds the one name of a pattern without a wildcard.
static void matchOne(FileMatches* matches, char* name) {
  struct stat status;
  if (stat(name, &status) != 0 && (resolveHostName(name) != resolveFound || stat(name, &status) != 0)) return;
  if (isReadable(status)) addMatch(matches, name + hostNameStart(name));
}

// For qsort: two names in byte order.
static int compareNames(const void* a, const void* b) {
  return std::strcmp(*static_cast<char* const*>(a), *static_cast<char* const*>(b));
}

// Adds the names in `directory` that match `pattern`, sorted.
static void matchMany(FileMatches* matches, DIR* directory, const char* pattern) {
  const bool all = std::strcmp(pattern, "*.*") == 0;
  while (const dirent* entry = readdir(directory)) {
    const char* const name = entry->d_name;
    struct stat status;
    if (name[0] == '.' || entry->d_type == DT_DIR) continue;
    if (!all && !matchesPattern(pattern, name)) continue;
    if (fstatat(dirfd(directory), name, &status, 0) == 0 && isReadable(status)) addMatch(matches, name);
  }
  if (matches->count > 1) std::qsort(matches->names, matches->count, sizeof(char*), compareNames);
}

// Opens the directory of the pattern `name`, and cuts `name` off behind it.
static DIR* openDirectoryOf(char* name, size_t start) {
  if (start == 0) return opendir(".");
  name[start] = 0;
  DIR* directory = opendir(name);
  if (directory == nullptr && resolveHostDirectories(name) == resolveFound) directory = opendir(name);
  return directory;
}

FileMatches* findFiles(const char* pattern) {
  char name[hostNameSize];
  if (!spellHostName(pattern, name)) return nullptr;
  FileMatches* const matches = static_cast<FileMatches*>(std::calloc(1, sizeof(FileMatches)));
  if (matches == nullptr) return nullptr;
  const size_t start = hostNameStart(name);
  if (std::strpbrk(name + start, "*?") == nullptr) {
    matchOne(matches, name);
  } else if (char* const wildcard = strdup(name + start)) {
    if (DIR* const directory = openDirectoryOf(name, start)) {
      matchMany(matches, directory, wildcard);
      closedir(directory);
    }
    std::free(wildcard);
  }
  if (matches->count != 0) return matches;
  closeMatches(matches);
  return nullptr;
}

const char* nextMatch(FileMatches* matches) {
  return matches->next < matches->count ? matches->names[matches->next++] : nullptr;
}

void closeMatches(FileMatches* matches) {
  if (matches == nullptr) return;
  for (size_t i = 0; i < matches->count; ++i) std::free(matches->names[i]);
  std::free(matches->names);
  std::free(matches);
}

bool foldsFileNames(const char*) {
  return false;
}
