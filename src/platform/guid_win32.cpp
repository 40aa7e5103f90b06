// The text form of a GUID, read by the system. The library is loaded when the
// first GUID is met: it brings many others along, and few sources have one.

#include "platform/guid.h"

#include <windows.h>

#include <cstring>

#include "platform/system_win32.h"

using IidFromString = HRESULT(__stdcall*)(const WCHAR* text, IID* result);

int parseGuid(const uint16_t* text, Byte result[16]) {
  static constinit IidFromString parse = nullptr;
  if (parse == nullptr) {
    const HMODULE library = LoadLibraryA("ole32.dll");
    if (library != nullptr) parse = findEntry<IidFromString>(library, "IIDFromString");
    if (parse == nullptr) return 1;
  }
  IID id;
  static_assert(sizeof id == 16);
  if (parse(reinterpret_cast<const WCHAR*>(text), &id) != S_OK) return 1;
  std::memcpy(result, &id, sizeof id);
  return 0;
}
