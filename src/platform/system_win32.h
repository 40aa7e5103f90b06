// What the files of the Windows backend share. Used by the files of this folder alone.

#pragma once

#include <windows.h>

#include "base.h"

// Writes `size` bytes to a handle of the system. False if not all of them could be written.
bool writeSystemHandle(HANDLE handle, const void* data, size_t size);

// Between the two calls a break signal waits.
void holdBreaks();
void releaseBreaks();

// The entry `name` of a loaded library, null if it has none.
template <typename Entry>
Entry findEntry(HMODULE library, const char* name) {
  // The two steps keep the compiler from comparing the types of the two functions.
  return reinterpret_cast<Entry>(reinterpret_cast<void*>(GetProcAddress(library, name)));
}
