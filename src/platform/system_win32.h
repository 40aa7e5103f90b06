// What the files of the Windows backend share. Used by the files of this folder alone.

#pragma once

#include <windows.h>

#include "base.h"
#include "platform/read_files.h"

// The table of open files: an index of it is what callers get as a handle. -1 if
// no entry is free. A system handle that is taken in is closed by closeFile.
int takeIn(HANDLE handle);
bool entryIsFree();

// The system handle of an open file, null if there is none.
HANDLE systemHandle(int handle);

// The OpenFailure that the system's last error stands for.
int lastOpenFailure();

// The identity of an open ordinary file, noFile for anything else.
FileIdentity identityOf(HANDLE handle);

// The same for a file by its name; noFile also if there is none.
FileIdentity identityOfName(const char* name);

// Opening with all rights shared, as the run-time library does it.
constexpr DWORD shareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

// Writes `size` bytes to a handle of the system. False if not all of them could be written.
bool writeSystemHandle(HANDLE handle, const void* data, size_t size);

// The entry `name` of a loaded library, null if it has none.
template <typename Entry>
Entry findEntry(HMODULE library, const char* name) {
  // The two steps keep the compiler from comparing the types of the two functions.
  return reinterpret_cast<Entry>(reinterpret_cast<void*>(GetProcAddress(library, name)));
}
