// Address ranges by the virtual-memory calls.

#include "platform/pages.h"

#include <windows.h>

size_t pageSize() {
  static constinit size_t size = 0;
  if (size == 0) {
    SYSTEM_INFO system;
    SetLastError(ERROR_SUCCESS);
    GetSystemInfo(&system);
    size = GetLastError() == ERROR_SUCCESS ? system.dwPageSize : 0x1000;
  }
  return size;
}

void* reservePages(void* wanted, size_t size) {
  void* const range = VirtualAlloc(wanted, size, MEM_RESERVE, PAGE_READWRITE);
  if (range != nullptr || wanted == nullptr) return range;
  return VirtualAlloc(nullptr, size, MEM_RESERVE, PAGE_READWRITE);
}

bool commitPages(void* start, size_t size) {
  return VirtualAlloc(start, size, MEM_COMMIT, PAGE_READWRITE) != nullptr;
}

bool decommitPages(void* start, size_t size) {
  return size == 0 || VirtualFree(start, size, MEM_DECOMMIT) != 0;
}

bool releasePages(void* start, size_t) {
  return VirtualFree(start, 0, MEM_RELEASE) != 0;
}

void* allocatePages(size_t size) {
  return VirtualAlloc(nullptr, size, MEM_COMMIT, PAGE_READWRITE);
}
