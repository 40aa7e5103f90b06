// The search for the files of #include and #import.
//
// A name becomes a sequence of candidate paths; trying to open is the only test
// for existence. The first candidate that is not refused ends the search. A name
// that is not found anywhere is cut to the short form that old file systems knew,
// and looked for once more.

#include "input/include_search.h"

#include <cstring>

#include "diag/position.h"
#include "input/macro_text.h"
#include "names/names.h"
#include "options/option_image.h"
#include "options/search_lists.h"
#include "platform/files.h"
#include "platform/paths.h"
#include "record/files.h"

constinit bool searchesAngled = false;

constinit char importPath[pathLimit + 1] = {};

// What a candidate is asked: pushSourceFile, or tryLibrary.
using TryFile = PushResult (*)(const char* path);

static PushResult tryDirList(const DirNode* list, const char* name, TryFile tryFile) {
  const size_t nameLength = std::strlen(name);
  for (; list != nullptr; list = list->next) {
    const size_t pathLength = std::strlen(list->path);
    if (pathLength + nameLength > pathLimit) return notFound;
    char path[pathLimit + 1];
    std::memcpy(path, list->path, pathLength);
    std::memcpy(path + pathLength, name, nameLength + 1);
    const PushResult result = tryFile(path);
    if (result != notFound) return result;
  }
  return notFound;
}

// Tries `name` in the directory of the file `base`, unless that is the directory
// of `refused`, where it has just been tried.
static PushResult tryDirectoryOf(const char* base, const char* refused, const char* name, TryFile tryFile) {
  if (base == nullptr) return notFound;
  const size_t pathLength = splitPath(base).nameStart;
  if (refused != nullptr && splitPath(refused).nameStart == pathLength &&
      std::memcmp(base, refused, pathLength) == 0)
    return notFound;
  const size_t nameLength = std::strlen(name);
  if (pathLength + nameLength > pathLimit) return notFound;
  char path[pathLimit + 1];
  std::memcpy(path, base, pathLength);
  std::memcpy(path + pathLength, name, nameLength + 1);
  return tryFile(path);
}

// Tries `name` in the directories of the current file and of all that include it.
static PushResult tryIncluderDirectories(const char* name, TryFile tryFile) {
  if (isRootedPath(name)) return notFound;
  const char* tried = currentFileName;
  const PushResult result = tryDirectoryOf(tried, nullptr, name, tryFile);
  if (result != notFound) return result;
  for (const InputFrame* frame = input.top; frame != nullptr; frame = frame->previous) {
    if (!isFileFrame(frame)) continue;
    const char* const includer = static_cast<const FileFrame*>(frame)->savedFileName;
    const PushResult outer = tryDirectoryOf(includer, tried, name, tryFile);
    if (outer != notFound) return outer;
    tried = includer;
  }
  return notFound;
}

// Cuts the base name to 8 characters and puts `extension` after it.
static void setExtension(char* name, const PathParts& parts, const char* extension, size_t length) {
  const size_t base = parts.extension - parts.nameStart;
  char* const target = name + parts.nameStart + (base < 8 ? base : 8);
  std::memmove(target, extension, length);
  target[length] = 0;
}

// Cuts the base name to 8 characters and the extension to 4 with its dot.
static void truncateTo83(char* name) {
  const PathParts parts = splitPath(name);
  const size_t length = parts.length - parts.extension;
  setExtension(name, parts, name + parts.extension, length < 4 ? length : 4);
}

// Gives a name without an extension ".h", and says so.
static bool addHeaderExtension(char* name) {
  const PathParts parts = splitPath(name);
  if (parts.extension != parts.length) return false;
  setExtension(name, parts, ".h", 2);
  return true;
}

// --- #include ---

// One pass of the search. `headerFlag` is set where a <...> name gets its ".h".
static PushResult tryIncludePlaces(char* name, bool quoted, bool& headerFlag) {
  PushResult result = notFound;
  if (quoted && optionImage.searchIncluders) result = tryIncluderDirectories(name, pushSourceFile);
  if (result == notFound && (quoted || isRootedPath(name) || !optionImage.includeGiven))
    result = pushSourceFile(name);
  if (result == notFound && !quoted) {
    if (optionImage.mfcCompat != 0) result = tryIncluderDirectories(name, pushSourceFile);
    if (result == notFound) result = tryDirList(includeDirs.first, name, pushSourceFile);
    if (result == notFound && addHeaderExtension(name)) headerFlag = true;
  }
  if (result == notFound) result = tryDirList(includeDirs.first, name, pushSourceFile);
  return result;
}

PushResult searchInclude(char* name, bool quoted) {
  bool headerFlag = false;
  searchesAngled = !quoted;
  PushResult result = tryIncludePlaces(name, quoted, headerFlag);
  if (result == notFound) {
    truncateTo83(name);
    result = tryIncludePlaces(name, quoted, headerFlag);
  }
  searchesAngled = false;
  if (result == pushed) {
    input.currentFileFrame->headerFlag = headerFlag;
    setStdNames(headerFlag);
  }
  return result;
}

void setStdNames(bool defined) {
  alignas(8) static const Byte record[8] = {objectLike, '1', endOfBodyMark, 0};
  if (input.usingStdNames == nullptr) return;
  input.usingStdNames->macroBody = defined ? record : noMacro;
  if (defined) noteSpecialName(input.usingStdNames->spelling(), input.usingStdNames->nameLength);
}

// --- #import ---

// Keeps the path of a library that can be opened.
static PushResult tryLibrary(const char* path) {
  const int handle = openSourceFile(path);
  if (handle < 0) return refusalOf(handle);
  closeFile(handle);
  const size_t length = std::strlen(path);
  const size_t kept = length < pathLimit ? length : pathLimit;
  std::memcpy(importPath, path, kept);
  importPath[kept] = 0;
  if (recording) [[unlikely]]
    noteFileEvent(fileRead, importPath);
  return pushed;
}

// Tries `name` in one directory of PATH, whose letters are folded to upper case.
static PushResult tryPathDirectory(const char* item, size_t length, const char* name) {
  while (length != 0 && (item[length - 1] == ' ' || item[length - 1] == '\t')) --length;
  const size_t nameLength = std::strlen(name);
  if (length == 0 || length + 1 + nameLength > pathLimit) return notFound;
  char path[pathLimit + 1] = {};
  copyFolded(path, item, length);
  if (!endsInSeparator(path, length)) path[length++] = '\\';
  std::memcpy(path + length, name, nameLength + 1);
  const char* start = path;
  while (*start == ' ' || *start == '\t') ++start;
  return tryLibrary(start);
}

static PushResult tryPath(const char* name) {
  const char* item = environmentValue("PATH");
  if (item == nullptr) return notFound;
  for (;;) {
    const char* const end = item + std::strcspn(item, ";");
    const PushResult result = end == item ? notFound : tryPathDirectory(item, size_t(end - item), name);
    if (result != notFound || *end == 0) return result;
    item = end + 1;
  }
}

// One pass of the search for a library.
static PushResult tryLibraryPlaces(const char* name, bool quoted) {
  PushResult result = notFound;
  if (quoted && optionImage.searchIncluders) result = tryIncluderDirectories(name, tryLibrary);
  if (result == notFound && (quoted || isRootedPath(name) || !optionImage.includeGiven))
    result = tryLibrary(name);
  if (result == notFound) result = tryPath(name);
  if (result == notFound) result = tryDirList(libraryDirs.first, name, tryLibrary);
  if (result == notFound && !quoted && optionImage.mfcCompat != 0)
    result = tryIncluderDirectories(name, tryLibrary);
  return result == notFound ? tryDirList(includeDirs.first, name, tryLibrary) : result;
}

PushResult searchLibrary(char* name, bool quoted) {
  importPath[0] = 0;
  const PushResult result = tryLibraryPlaces(name, quoted);
  if (result != notFound) return result;
  truncateTo83(name);
  return tryLibraryPlaces(name, quoted);
}
