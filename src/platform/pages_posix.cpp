// Address ranges by mmap. A reservation is a mapping without access, which the
// system backs with nothing; committing allows access, and the first touch of a
// page brings it in, full of zeros.

#include "platform/pages.h"

#include <sys/mman.h>

size_t pageSize() {
  // The only one of this processor; to ask the C library touches two pages of it.
  return 0x1000;
}

void* reservePages(void* wanted, size_t size) {
  void* const range = mmap(wanted, size, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  return range == MAP_FAILED ? nullptr : range;
}

bool commitPages(void* start, size_t size) {
  return mprotect(start, size, PROT_READ | PROT_WRITE) == 0;
}

bool decommitPages(void* start, size_t size) {
  // Access goes first: should it fail, the bytes are still as they were.
  return mprotect(start, size, PROT_NONE) == 0 && madvise(start, size, MADV_DONTNEED) == 0;
}

bool releasePages(void* start, size_t size) {
  return munmap(start, size) == 0;
}

void* allocatePages(size_t size) {
  void* const range = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  return range == MAP_FAILED ? nullptr : range;
}
