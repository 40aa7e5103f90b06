// Loading the outside component, for the length of one call. The system's search
// looks in the directory of the program first.

#include "platform/component.h"

#include <windows.h>

#include <cstring>

#include "platform/float_state.h"
#include "platform/system_win32.h"

// What the component exports. Nobody has said by which convention it is called,
// so it is called by one that fits both: the arguments go on the stack, and the
// stack pointer is put back afterwards, whether the callee has removed them or not.
using ReadTypeLibraryEntry = int (*)(const char* path, const char* attributes, int reserved,
                                     char* generatedName);

static int callEntry(ReadTypeLibraryEntry entry, const char* path, const char* attributes,
                     char* generatedName) {
  int result;
  // The callee may rely on a stack pointer that is a multiple of 16 in front of the call.
  asm volatile(
      "movl %%esp, %%esi\n\t"
      "andl $-16, %%esp\n\t"
      "pushl %[name]\n\t"
      "pushl $0\n\t"
      "pushl %[attributes]\n\t"
      "pushl %[path]\n\t"
      "call *%[entry]\n\t"
      "movl %%esi, %%esp"
      : "=a"(result), [name] "+d"(generatedName)
      : [entry] "a"(entry), [path] "D"(path), [attributes] "b"(attributes)
      : "esi", "ecx", "memory", "cc", "st", "xmm0", "xmm1", "xmm2", "xmm3", "xmm4", "xmm5", "xmm6", "xmm7");
  return result;
}

bool readTypeLibrary(const char* path, const char* attributes, char* generatedName, int& result) {
  // The component is told no size. What it writes goes into a larger buffer
  // first, so that a name somewhat past the limit does no harm.
  static constinit char written[2 * (importNameLimit + 1)] = {};
  generatedName[0] = 0;
  // The component's run-time may change how numbers are rounded.
  const FloatState floats = floatState();
  const HMODULE module = LoadLibraryA("TLBREADER.DLL");
  if (module == nullptr) {
    setFloatState(floats);
    return false;
  }
  // No output may take its place.
  char file[MAX_PATH];
  const DWORD length = GetModuleFileNameA(module, file, sizeof file);
  if (length != 0 && length < sizeof file) noteReadForRun(identityOfName(file));
  const auto entry = findEntry<ReadTypeLibraryEntry>(module, "ReadTypeLibrary");
  if (entry != nullptr) {
    written[0] = 0;
    result = callEntry(entry, path, attributes, written);
    written[importNameLimit] = 0;
    std::memcpy(generatedName, written, std::strlen(written) + 1);
  }
  FreeLibrary(module);
  setFloatState(floats);
  return entry != nullptr;
}
