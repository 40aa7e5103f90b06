// Loading the outside component, for the length of one call.

#include "platform/component.h"

#include <dlfcn.h>
#include <link.h>
#include <sys/stat.h>

#include <cstring>

#include "platform/files.h"
#include "platform/host_open.h"
#include "platform/paths.h"

constexpr const char* componentName = "tlbreader.so";
constexpr const char* entryName = "ReadTypeLibrary";

// What the component exports.
using ReadTypeLibraryEntry = int (*)(const char* path, const char* attributes, int reserved,
                                     char* generatedName);

// Notes that the file of a loaded component is in use.
static void noteComponent(void* module) {
  link_map* loaded = nullptr;
  struct stat status;
  if (dlinfo(module, RTLD_DI_LINKMAP, &loaded) == 0 && stat(loaded->l_name, &status) == 0)
    noteReadForRun(identityOf(status));
}

// Loads the component that lies in the directory of the program, null if none does.
static void* loadBesideProgram() {
  char path[4096];
  if (!programPath(path, sizeof path)) return nullptr;
  const size_t nameStart = splitPath(path).nameStart;
  if (nameStart + std::strlen(componentName) >= sizeof path) return nullptr;
  std::strcpy(path + nameStart, componentName);
  return dlopen(path, RTLD_NOW | RTLD_LOCAL);
}

bool readTypeLibrary(const char* path, const char* attributes, char* generatedName, int& result) {
  // The component is told no size. What it writes goes into a larger buffer
  // first, so that a name somewhat past the limit does no harm.
  static constinit char written[2 * (importNameLimit + 1)] = {};
  generatedName[0] = 0;
  void* module = loadBesideProgram();
  if (module == nullptr) module = dlopen(componentName, RTLD_NOW | RTLD_LOCAL);
  if (module == nullptr) return false;
  noteComponent(module);
  const ReadTypeLibraryEntry entry = reinterpret_cast<ReadTypeLibraryEntry>(dlsym(module, entryName));
  if (entry != nullptr) {
    written[0] = 0;
    result = entry(path, attributes, 0, written);
    written[importNameLimit] = 0;
    std::memcpy(generatedName, written, std::strlen(written) + 1);
  }
  dlclose(module);
  return entry != nullptr;
}
