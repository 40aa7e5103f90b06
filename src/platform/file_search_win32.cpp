// The files that a pattern names, in the order in which the system gives them.
//
// All names are fetched before the first is handed out: the program writes its
// outputs into the directory that it searches, and "*.*" must not find them.

#include "platform/file_search.h"

#include <windows.h>

#include <cstdlib>
#include <cstring>

#include "platform/paths.h"
#include "platform/system_win32.h"

struct FileMatches {
  char* names;  // `used` bytes: NUL-terminated names, one after the other
  size_t used;
  size_t room;
  size_t next;  // where the name begins that nextMatch gives next
};

// Appends a copy of `name`; false if there is no memory.
static bool addMatch(FileMatches* matches, const char* name) {
  const size_t length = std::strlen(name) + 1;
  if (length > matches->room - matches->used) {
    const size_t room = 2 * matches->room + MAX_PATH;
    void* const grown = std::realloc(matches->names, room);
    if (grown == nullptr) return false;
    matches->names = static_cast<char*>(grown);
    matches->room = room;
  }
  std::memcpy(matches->names + matches->used, name, length);
  matches->used += length;
  return true;
}

FindOutcome findFiles(const char* pattern, FileMatches*& matches) {
  constexpr DWORD hiddenFromSearch = FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM | FILE_ATTRIBUTE_DIRECTORY;
  static_assert(hiddenFromSearch == 0x16);
  matches = nullptr;
  WIN32_FIND_DATAA entry;
  const HANDLE search = FindFirstFileA(pattern, &entry);
  if (search == INVALID_HANDLE_VALUE)
    return GetLastError() == ERROR_NOT_ENOUGH_MEMORY ? filesNoMemory : filesMissing;
  matches = static_cast<FileMatches*>(std::calloc(1, sizeof(FileMatches)));
  bool stored = matches != nullptr;
  do {
    if (stored && (entry.dwFileAttributes & hiddenFromSearch) == 0)
      stored = addMatch(matches, entry.cFileName);
  } while (stored && FindNextFileA(search, &entry));
  const bool whole = stored && GetLastError() == ERROR_NO_MORE_FILES;
  FindClose(search);
  if (whole && matches->used != 0) return filesFound;
  closeMatches(matches);
  matches = nullptr;
  return !stored ? filesNoMemory : !whole ? filesBroken : filesMissing;
}

const char* nextMatch(FileMatches* matches) {
  if (matches->next >= matches->used) return nullptr;
  const char* const name = matches->names + matches->next;
  matches->next += std::strlen(name) + 1;
  return name;
}

void closeMatches(FileMatches* matches) {
  if (matches == nullptr) return;
  std::free(matches->names);
  std::free(matches);
}

bool foldsFileNames(const char* pattern) {
  // A system that exports this name keeps no case of names, whatever its volumes say.
  const HMODULE kernel = GetModuleHandleA("kernel32.dll");
  if (kernel != nullptr && GetProcAddress(kernel, "Vestrel32") != nullptr) return true;
  char root[] = "X:\\";
  const bool hasDrive = splitPath(pattern).driveLength != 0;
  if (hasDrive) root[0] = pattern[0];
  char volumeName[10];
  char systemName[10];
  DWORD serial, longest, flags;
  const bool answered = GetVolumeInformationA(hasDrive ? root : nullptr, volumeName, sizeof volumeName,
                                              &serial, &longest, &flags, systemName, sizeof systemName) != 0;
  static_assert(FILE_CASE_PRESERVED_NAMES == 2);
  return !answered || (flags & FILE_CASE_PRESERVED_NAMES) == 0;
}
