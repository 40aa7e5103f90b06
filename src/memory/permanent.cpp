// Memory for the rest of the run: a bump through chunks that are never given
// back. Option values, file names of the command line and the like live here.
// A chunk's untouched pages cost nothing, so chunks are larger than most runs
// need, and a run makes one or two system calls for all of them.

#include <cstring>

#include "memory/memory.h"

constexpr size_t permChunkSize = 0x10000;

static constinit Byte* permCursor = nullptr;  // next free byte of the chunk
static constinit Byte* permLimit = nullptr;   // end of the chunk

void* permAlloc(size_t size) {
  // Two requests of size 0 still get addresses of their own. A size near the
  // limit of the type stays as it is: no system has that much.
  const size_t rounded = size > SIZE_MAX - 7 ? size : ((size == 0 ? 1 : size) + 7) & ~size_t{7};
  if (rounded > size_t(permLimit - permCursor)) {
    const size_t chunkSize = rounded > permChunkSize ? rounded : permChunkSize;
    permCursor = static_cast<Byte*>(low_level_get(chunkSize));
    permLimit = permCursor + chunkSize;
    poisonMemory(permCursor, chunkSize);
  }
  Byte* const start = permCursor;
  permCursor += rounded;
  unpoisonMemory(start, size);
  return start;
}

char* permCopy(const char* text, size_t length) {
  char* const copy = static_cast<char*>(permAlloc(length + 1));
  std::memcpy(copy, text, length);
  copy[length] = 0;
  return copy;
}
