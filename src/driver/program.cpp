// The process.
//
// The arguments in front of the first file name are switches; what they set is
// the same for every file. Each file is a translation unit of its own, and a
// file that fails does not keep the next from running.

#include "driver/program.h"

#include <cstdlib>
#include <cstring>

#include "diag/messages.h"
#include "diag/report.h"
#include "driver/output.h"
#include "driver/unit.h"
#include "input/include_search.h"
#include "macro/define.h"
#include "memory/memory.h"
#include "options/arguments.h"
#include "options/option_image.h"
#include "options/options.h"
#include "platform/file_search.h"
#include "platform/files.h"
#include "platform/paths.h"

constinit EndProcessHook endProcessHook = nullptr;

static constinit bool consoleSwitch = false;  // a -o names the console
static constinit bool quietSwitch = false;    // -q stands alone on the command line
static constinit bool runFailed = false;      // the exit status is 1

// The longest path that the search for sources builds, with its NUL.
constexpr size_t sourcePathSize = 4096;

// --- Text for the user ---

void printText(const char* text) {
  while (*text != 0) {
    const size_t run = std::strcspn(text, "\r");
    writeConsole(text, run);
    text += run;
    if (*text == '\r') ++text;
  }
}

static void printMessage(MessageId id) {
  char text[messageTextLimit];
  printText(loadConsoleMessage(sizeof text, text, id));
}

static void printBanner() {
  printMessage(textBannerName);
  printMessage(textBannerSystem);
  printMessage(textBannerTool);
  printText("5.5");
  printMessage(textBannerNotice);
}

static void printHelp() {
  static constexpr MessageId lines[] = {
      textSyntaxIs, textProgramName, textSyntaxArguments, textHelp1, textHelp2, textHelp3,  textHelp4,
      textHelp5,    textHelp6,       textHelp7,           textHelp8, textHelp9, textHelp10, textHelp11};
  for (const MessageId id : lines) printMessage(id);
}

void endProcess(int status) {
  const bool flushed = flushConsole();
  memoryStop();
  if (endProcessHook != nullptr) endProcessHook(status);
  std::exit(status == 0 && !flushed ? 1 : status);
}

// --- Names ---

static bool isConsoleName(const char* text) {
  return sameFileName(text, "con.") || sameFileName(text, "con");
}

// `name` with `extension` behind it if it has none.
static const char* addDefaultExtension(const char* extension, const char* name) {
  const PathParts parts = splitPath(name);
  if (parts.extension != parts.length) return name;
  const size_t added = std::strlen(extension);
  char* const result = static_cast<char*>(permAlloc(parts.length + added + 1));
  std::memcpy(result, name, parts.length);
  std::memcpy(result + parts.length, extension, added + 1);
  return result;
}

// The look at the raw arguments that decides on the banner.
static void lookForQuietSwitches(char** argv, int argc) {
  for (int i = 1; i < argc && isSwitchArgument(argv[i]); ++i) {
    const char* const argument = argv[i];
    if (argument[0] == '+') continue;
    if (argument[1] == 'o' && isConsoleName(argument + 2)) consoleSwitch = true;
    if (argument[1] == 'q' && argument[2] == 0) quietSwitch = true;
  }
}

// --- Source files ---

static void translateFile(const char* path) {
  if (guardedTranslate(path) != 0 || errorCount != 0) {
    writeMessage(textErrorSummary, errorCount);
    runFailed = true;
  } else if (messageCount != 0 && (optionImage.batchFlags & failOnWarningFlag) != 0) {
    runFailed = true;
  }
}

// Runs one file, as C++ if its name says so.
static void processFile(const char* path) {
  if (!consoleSwitch) {
    printText(path);
    printText(":\r\n");
  }
  const Byte outer = optionImage.forceCplusplus;
  const PathParts parts = splitPath(path);
  if (sameFileName(path + parts.extension, ".cpp")) optionImage.forceCplusplus = 1;
  translateFile(path);
  optionImage.forceCplusplus = outer;
}

// Turns the ASCII capitals of `path` into lower case.
static void toLowerCase(char* path) {
  for (; *path != 0; path += pathCharLength(path))
    if (*path >= 'A' && *path <= 'Z') *path = char(*path + ('a' - 'A'));
}

// Runs every file that `pattern` matches. False if there is none.
static bool forEachMatch(void (*callback)(const char* path), const char* pattern) {
  FileMatches* const matches = findFiles(pattern);
  if (matches == nullptr) return false;
  const size_t directoryLength = splitPath(pattern).nameStart;
  const bool folded = foldsFileNames(pattern);
  while (const char* const name = nextMatch(matches)) {
    char path[sourcePathSize];
    const size_t nameLength = std::strlen(name);
    if (directoryLength + nameLength >= sizeof path) continue;
    std::memcpy(path, pattern, directoryLength);
    std::memcpy(path + directoryLength, name, nameLength + 1);
    if (folded) toLowerCase(path);
    callback(path);
  }
  closeMatches(matches);
  return true;
}

// Reports an error that no limit stops.
static void reportUnlimited(MessageId id, DiagArg argument) {
  const Byte errors = optionImage.errorLimit;
  const Byte warnings = optionImage.warningLimit;
  optionImage.errorLimit = 0;
  optionImage.warningLimit = 0;
  reportError(id, argument);
  optionImage.errorLimit = errors;
  optionImage.warningLimit = warnings;
}

static void processSourceArg(const char* argument) {
  const char* const name = addDefaultExtension(defaultExtension, argument);
  if (forEachMatch(processFile, name)) return;
  reportUnlimited(msgFileNotFound, name);
  runFailed = true;
}

// True if the messages of the unit that ran last end the whole run.
static bool stopsTheRun() {
  if (messageCount == 0) return false;
  if ((optionImage.batchFlags & stopOnErrorFlag) != 0 && errorCount != 0) return true;
  return (optionImage.batchFlags & stopOnWarningFlag) != 0 && messageCount > errorCount;
}

// A switch behind the first file name: one that begins with 'v' acts on the
// files that follow, every other is passed over.
static void applyLateSwitch(const char* argument) {
  if (argument[1] == 'v' && !parseOption(secondLook, argument + 1)) refuseOption(textCommandLine, argument);
}

static void processArguments(char** argv, int argc) {
  int i = 1;
  while (i < argc && isSwitchArgument(argv[i])) ++i;
  if (i >= argc) {
    reportUnlimited(msgNoFileNames, {});
    runFailed = true;
    return;
  }
  for (; i < argc; ++i) {
    if (isLateSwitch(argv[i]))
      applyLateSwitch(argv[i]);
    else
      processSourceArg(argv[i]);
    if (stopsTheRun()) {
      runFailed = true;
      return;
    }
  }
}

int runProgram(int argc, char** argv) {
  consoleSwitch = quietSwitch = runFailed = false;
  resetCounters();
  includeDirs = libraryDirs = nullptr;
  clearCommandDefines();
  openStandardHandles();
  forgetDirectories();
  installFaultFilters();
  memoryStart();
  lookForQuietSwitches(argv, argc);
  if (!consoleSwitch && !quietSwitch) printBanner();
  if (argc <= 1) {
    printHelp();
    endProcess(0);
  }
  expandResponseFiles(argv, argc);
  optionBootstrap(argv, argc);
  if (optionImage.outputFile != nullptr)
    optionImage.outputFile = addDefaultExtension(".i", optionImage.outputFile);
  reverseDirs(includeDirs);
  reverseDirs(libraryDirs);
  processArguments(argv, argc);
  if (!flushConsole()) runFailed = true;
  memoryStop();
  removeFaultFilters();
  return runFailed ? 1 : 0;
}
