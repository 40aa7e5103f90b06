// The process.
//
// The arguments before the first file name are switches; what they set is
// the same for every file. Each file is a translation unit of its own, and a
// file that fails does not keep the next from running.

#include "driver/program.h"

#include <cstring>

#include "diag/fatal.h"
#include "diag/messages.h"
#include "diag/report.h"
#include "driver/unit.h"
#include "memory/memory.h"
#include "options/arguments.h"
#include "options/defines.h"
#include "options/option_image.h"
#include "options/options.h"
#include "options/search_lists.h"
#include "output/output.h"
#include "platform/file_search.h"
#include "platform/files.h"
#include "platform/paths.h"
#include "platform/read_files.h"

static constinit bool consoleSwitch = false;  // a -o names the console
static constinit bool quietSwitch = false;    // -q stands alone on the command line
static constinit bool runFailed = false;      // the exit status is 1

// The longest path that the search for sources builds, with its NUL.
constexpr size_t sourcePathSize = 4096;

// --- Text for the user ---

// Text for standard output with its carriage returns dropped.
static void printText(const char* text) {
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

// Sends what is left to the console. If any of its text was lost, as on a full
// disk, the error stream says so, and the result is false.
static bool finishConsole() {
  if (flushConsole()) return true;
  reportLostConsole();
  return false;
}

// --- Names ---

static bool isConsoleName(const char* text) {
  return sameFileName(text, "con.") || sameFileName(text, "con");
}

// `name` with `extension` after it if it has none.
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
  if (!guardedTranslate(path) || errorCount != 0) {
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
  const bool outer = optionImage.forceCplusplus;
  const PathParts parts = splitPath(path);
  if (sameFileName(path + parts.extension, ".cpp")) optionImage.forceCplusplus = true;
  translateFile(path);
  optionImage.forceCplusplus = outer;
}

// Reports an error that no limit stops.
static void reportUnlimited(MessageId id, DiagArg argument) {
  const MessageLimits limits = messageLimits;
  messageLimits = {};
  reportError(id, argument);
  messageLimits = limits;
}

// Turns the ASCII capitals of `path` into lower case.
static void toLowerCase(char* path) {
  for (; *path != 0; path += pathCharLength(path))
    if (*path >= 'A' && *path <= 'Z') *path = char(*path + ('a' - 'A'));
}

// Runs every file that `pattern` matches. Where not all of them can be found, none is run.
static FindOutcome forEachMatch(void (*callback)(const char* path), const char* pattern) {
  FileMatches* matches;
  const FindOutcome outcome = findFiles(pattern, matches);
  if (outcome != filesFound) return outcome;
  const size_t directoryLength = splitPath(pattern).nameStart;
  const bool folded = foldsFileNames(pattern);
  while (const char* const name = nextMatch(matches)) {
    char path[sourcePathSize];
    const size_t nameLength = std::strlen(name);
    if (directoryLength + nameLength >= sizeof path) {
      reportUnlimited(msgFileNotFound, name);
      runFailed = true;
      continue;
    }
    std::memcpy(path, pattern, directoryLength);
    std::memcpy(path + directoryLength, name, nameLength + 1);
    if (folded) toLowerCase(path);
    callback(path);
  }
  closeMatches(matches);
  return filesFound;
}

static void processSourceArg(const char* argument) {
  const char* const name = addDefaultExtension(defaultExtension, argument);
  const FindOutcome outcome = forEachMatch(processFile, name);
  if (outcome == filesFound) return;
  if (outcome == filesNoMemory) failOutOfMemory();
  reportUnlimited(outcome == filesMissing ? msgFileNotFound : msgCannotOpenInput, name);
  runFailed = true;
}

// True if the messages of the unit that ran last end the whole run.
static bool stopsTheRun() {
  if (messageCount == 0) return false;
  if ((optionImage.batchFlags & stopOnErrorFlag) != 0 && errorCount != 0) return true;
  return (optionImage.batchFlags & stopOnWarningFlag) != 0 && messageCount > errorCount;
}

// A switch after the first file name: one that begins with 'v' acts on the
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

// The command line.
struct Arguments {
  int argc;
  char** argv;
};

// The protected body: a fatal error outside units ends the run.
static void runArguments(void* argument) {
  auto [argc, argv] = *static_cast<Arguments*>(argument);
  memoryStart();
  // Messages must not go into a file that got the number of standard output.
  if (!openStandardHandles()) reportFatal(msgWriteFailed);
  lookForQuietSwitches(argv, argc);
  if (!consoleSwitch && !quietSwitch) printBanner();
  if (argc <= 1) {
    printHelp();
    return;
  }
  expandResponseFiles(argv, argc);
  optionBootstrap(argv, argc);
  if (optionImage.outputFile != nullptr)
    optionImage.outputFile = addDefaultExtension(".i", optionImage.outputFile);
  processArguments(argv, argc);
}

int runProgram(int argc, char** argv) {
  consoleSwitch = quietSwitch = runFailed = false;
  resetCounters();
  clearSearchLists();
  clearCommandDefines();
  forgetDirectories();
  forgetReadFiles();
  installFaultFilters();
  Arguments arguments{argc, argv};
  if (!runProtected(runArguments, &arguments)) {
    abandonOutput();
    runFailed = true;
  }
  // The memory goes with the process: two system calls of 8 us each released it before.
  if (!finishConsole()) runFailed = true;
  removeFaultFilters();
  return runFailed ? 1 : 0;
}
