// Texts by number, in the string tables of resources: those of the program file,
// or those of a language library, a DLL that holds nothing else and is mapped as data.

#include "platform/string_table.h"

#include <windows.h>

#include <cstring>

#include "platform/files.h"
#include "platform/read_files.h"
#include "platform/system_win32.h"

// The library in force; null for the program file.
static constinit HMODULE openLibrary = nullptr;

// They are in the resources of the program file.
void setOwnStrings(const StringRow*, int) {}

bool openStringLibrary(const char* path) {
  const HMODULE library = LoadLibraryExA(path, nullptr, LOAD_LIBRARY_AS_DATAFILE);
  static_assert(LOAD_LIBRARY_AS_DATAFILE == 2);
  if (library == nullptr) return false;
  closeStringLibrary();
  openLibrary = library;
  noteReadForRun(identityOfName(path));
  return true;
}

void closeStringLibrary() {
  if (openLibrary != nullptr) FreeLibrary(openLibrary);
  openLibrary = nullptr;
}

size_t loadString(int id, char* buffer, size_t size) {
  // The call takes an int for the size, and leaves the buffer as it is where there is no text.
  const int room = size < 0x10000 ? int(size) : 0x10000;
  const int length =
      LoadStringA(openLibrary != nullptr ? openLibrary : GetModuleHandleA(nullptr), UINT(id), buffer, room);
  buffer[length] = 0;
  return size_t(length);
}

size_t languageStem(char* buffer, size_t size) {
  if (!programPath(buffer, size)) return 0;
  // A program file without an extension has no libraries.
  for (size_t length = std::strlen(buffer); length > 0 && buffer[length - 1] != '\\'; --length)
    if (buffer[length - 1] == '.') return length;
  return 0;
}

void toConsoleCharset(char* text) {
  CharToOemA(text, text);
}
