// The output's name comes from the switches, or from the source's name. The file
// is opened when the first text is about to be written.

#include "driver/open_output.h"

#include <cstring>

#include "diag/report.h"
#include "input/frame.h"
#include "macro/predefined.h"
#include "memory/memory.h"
#include "options/option_image.h"
#include "output/output.h"
#include "platform/files.h"
#include "platform/output_file.h"
#include "platform/paths.h"

static constinit const char* sourcePath = nullptr;  // of the unit, as it was pushed
static constinit bool outputNamed = false;          // the name has been made, and the output opened
static constinit bool onConsole = false;            // the output is the console

// The names that mean the console.
static bool isConsoleOutput(const char* name) {
  return sameFileName(name, "con.") || sameFileName(name, "con.i") || sameFileName(name, "conout$.") ||
         sameFileName(name, "conout$.i");
}

// Creates the file, giving up handles of the input stack while there are none.
static int createOutput(const char* name) {
  for (;;) {
    const int handle = createFile(name);
    if (handle == openNoMemory) failOutOfMemory();
    if (handle != openTooManyFiles || !suspendFile()) return handle;
  }
}

// Opens the sink. False if the file cannot be created.
static bool openOutput(const char* name) {
  onConsole = isConsoleOutput(name);
  if (onConsole) {
    openOutputConsole();
    return true;
  }
  const int handle = createOutput(name);
  if (handle < 0) return false;
  openOutputFile(handle, name);
  return true;
}

// The name from the source's, in the directory of -n.
static char* defaultOutputName(const char* path) {
  const PathParts parts = splitPath(path);
  const char* const directory = optionImage.outputDirectory == nullptr ? "" : optionImage.outputDirectory;
  const size_t directoryLength = std::strlen(directory);
  const size_t baseLength = parts.extension - parts.nameStart;
  char* const name = static_cast<char*>(memAlloc(uint32_t(directoryLength + 1 + baseLength + 3)));
  copyFolded(name, directory, directoryLength);
  char* target = name + directoryLength;
  if (directoryLength != 0 && !endsInSeparator(name, directoryLength)) *target++ = '\\';
  std::memcpy(target, path + parts.nameStart, baseLength);
  std::memcpy(target + baseLength, ".i", 3);
  return name;
}

// The output's name: that of -o, or the source's.
static char* outputNameOf(const char* path) {
  if (optionImage.outputFile != nullptr && !optionImage.viaAssembler)
    return memCopy(optionImage.outputFile, std::strlen(optionImage.outputFile));
  return defaultOutputName(path);
}

const char* unitOutputName() {
  static constinit char hostName[hostPathSize] = {};
  if (!onConsole) return createdHostName();
  const char* const name = defaultOutputName(sourcePath);
  if (!spellForHost(name, hostName)) reportFatal(msgCannotOpenInput, name);
  return hostName;
}

char* plannedOutput(const char* path) {
  char* const name = outputNameOf(path);
  if (!isConsoleOutput(name)) return name;
  memFree(name);
  return nullptr;
}

void prepareOutput(const char* path) {
  sourcePath = path;
  outputNamed = false;
}

bool isOutputNamed() {
  return outputNamed;
}

void ensureOutputOpen() {
  if (outputNamed) return;
  outputNamed = true;
  const char* const name = outputNameOf(sourcePath);
  if (!openOutput(name)) reportFatal(msgCannotCreateOutput, name);
  if (optionImage.showDefines) dumpDefinedMacros();
}
