// A name in another case, found without a listing that is kept.
//
// A file that the program looks for on its own account is mostly missing, and its
// directory is then asked for nothing else. A small directory is read through a
// buffer on the stack. In a large one each spelling of the name is asked for, which
// are 64 for six letters: the system remembers names that are missing, and where a
// directory of 1,000 files takes 300 us to read, 64 questions take 30.

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

#include "platform/host_names.h"
#include "platform/host_open.h"
#include "platform/paths.h"

constexpr off_t smallDirectory = 8192;  // bytes that the system says it has; some 200 names
constexpr int letterLimit = 6;          // 64 spellings

static bool isLetter(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

static int countLetters(const char* text) {
  int count = 0;
  for (; *text != 0; ++text) count += isLetter(*text) ? 1 : 0;
  return count;
}

// True if two names are equal when the case of ASCII letters is folded.
static bool sameFolded(const char* a, const char* b) {
  while (*a != 0 && foldCase(Byte(*a)) == foldCase(Byte(*b))) ++a, ++b;
  return foldCase(Byte(*a)) == foldCase(Byte(*b));
}

// Spells `last` as the open directory does, by reading it: the name as it stands, or
// else the first in byte order.
static ResolveOutcome findByReading(int directory, char* last) {
  alignas(dirent64) char block[4096];
  char best[NAME_MAX + 1] = {};
  for (;;) {
    const ssize_t count = getdents64(directory, block, sizeof block);
    if (count < 0 && errno != EINTR) return outcomeOfError(errno);
    if (count == 0) break;
    for (ssize_t i = 0; i < count;) {
      const dirent64* const entry = reinterpret_cast<const dirent64*>(block + i);
      i += entry->d_reclen;
      if (!sameFolded(entry->d_name, last)) continue;
      if (std::strcmp(entry->d_name, last) == 0) return resolveFound;
      if (best[0] == 0 || std::strcmp(entry->d_name, best) < 0) std::strcpy(best, entry->d_name);
    }
  }
  if (best[0] == 0) return resolveMissing;
  std::strcpy(last, best);
  return resolveFound;
}

// Asks for a name of the open directory.
static ResolveOutcome askFor(int directory, const char* last) {
  struct stat status;
  return fstatat(directory, last, &status, AT_SYMLINK_NOFOLLOW) == 0 ? resolveFound : outcomeOfError(errno);
}

// The same as findByReading by asking for each spelling in byte order, where
// capitals come first.
static ResolveOutcome findByAsking(int directory, char* last) {
  const int letters = countLetters(last);
  ResolveOutcome outcome = askFor(directory, last);
  for (unsigned spelling = 0; outcome == resolveMissing && spelling < 1U << letters; ++spelling) {
    // The last letter takes the lowest bit.
    unsigned bits = spelling;
    for (char* text = last + std::strlen(last); text != last;) {
      if (!isLetter(*--text)) continue;
      *text = (bits & 1) != 0 ? char(*text | 0x20) : char(*text & ~0x20);
      bits >>= 1;
    }
    outcome = askFor(directory, last);
  }
  return outcome;
}

// Opens the directory of `name`, whose last component begins at `start`.
static int openDirectoryOf(char* name, size_t start) {
  if (start == 0) return openHost(".", O_RDONLY | O_DIRECTORY);
  const char first = name[start];
  name[start] = 0;
  const int directory = openHost(name, O_RDONLY | O_DIRECTORY);
  name[start] = first;
  return directory;
}

ResolveOutcome resolveHostNameOnce(char* name) {
  const size_t start = hostNameStart(name);
  const bool plain = name[start] != 0 && name[start] != '.' && std::strlen(name + start) <= NAME_MAX;
  if (!fastPaths || !plain) return resolveHostName(name);
  const int directory = openDirectoryOf(name, start);
  if (directory < 0) {
    const ResolveOutcome outcome = outcomeOfError(errno);
    // Its own spelling may be another.
    if (outcome == resolveMissing) return resolveHostName(name);
    return outcome == resolveDenied ? resolveMissing : outcome;
  }
  struct stat status;
  ResolveOutcome outcome;
  if (fstat(directory, &status) != 0)
    outcome = outcomeOfError(errno);
  else if (status.st_size > smallDirectory && countLetters(name + start) <= letterLimit)
    outcome = findByAsking(directory, name + start);
  else
    outcome = findByReading(directory, name + start);
  close(directory);
  return outcome;
}
