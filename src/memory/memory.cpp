// The page level of the memory layer, and its life.
//
// All four allocators take their memory from low_level_get or reserve it
// themselves. A failure of the system is no result here: it goes to
// failOutOfMemory, which ends the unit, or the process where no unit can be
// left in order. So no caller of an allocator ever tests for null.

#include "memory/memory.h"

#include "diag/report.h"
#include "memory/lifecycle.h"
#include "platform/pages.h"

// `size` rounded up to whole pages; 0 if that is no size any more.
static size_t wholePages(size_t size) {
  const size_t mask = pageSize() - 1;
  return size > SIZE_MAX - mask ? 0 : (size + mask) & ~mask;
}

void* low_level_get(size_t size) {
  const size_t rounded = wholePages(size);
  void* const range = rounded == 0 ? nullptr : allocatePages(rounded);
  if (range == nullptr) failOutOfMemory();
  return range;
}

void low_level_rls(void* range, size_t size) {
  const size_t rounded = wholePages(size);
  // The system may give these addresses to anybody next.
  unpoisonMemory(range, rounded);
  if (!releasePages(range, rounded)) failOutOfMemory();
}

void memoryStart() {
  if (saveBase != nullptr) memoryStop();
  initSAVEmem();
}

void memoryEndUnit() {
  poolEndUnit();
  stopSAVEmem();
}

void memoryStop() {
  poolStop();
  releaseSAVEmem();
}
