// The process.
//
// The arguments before the first file name are switches; what they set is
// the same for every file. Each file is a translation unit of its own, and a
// file that fails does not keep the next from running.

#include "driver/program.h"

#include <cstring>

#include "diag/fatal.h"
#include "diag/message_forms.h"
#include "diag/report.h"
#include "driver/help.h"
#include "driver/hints.h"
#include "driver/jobs.h"
#include "driver/progress.h"
#include "driver/report_files.h"
#include "driver/unit.h"
#include "memory/memory.h"
#include "options/arguments.h"
#include "options/defines.h"
#include "options/long_options.h"
#include "options/option_image.h"
#include "options/options.h"
#include "options/search_lists.h"
#include "output/output.h"
#include "platform/file_search.h"
#include "platform/files.h"
#include "platform/paths.h"
#include "platform/read_files.h"
#include "platform/status_line.h"
#include "record/files.h"

static constinit bool consoleSwitch = false;  // a -o names the console
static constinit bool quietSwitch = false;    // -q stands alone on the command line
static constinit bool runFailed = false;      // the exit status is 1

// The longest path that the search for sources builds, with its NUL.
constexpr size_t sourcePathSize = 4096;

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

static bool translateFile(const char* path, bool standardInput) {
  if (!guardedTranslate(path, standardInput) || errorCount != 0) {
    writeMessage(textErrorSummary, errorCount);
    return false;
  }
  return messageCount == 0 || (optionImage.batchFlags & failOnWarningFlag) == 0;
}

// Translates one unit, as C++ if its name says so.
static bool translateUnit(const char* path, bool standardInput) {
  if (!consoleSwitch) {
    printText(path);
    printText(":\r\n");
  }
  const bool outer = optionImage.forceCplusplus;
  const PathParts parts = splitPath(path);
  if (sameFileName(path + parts.extension, ".cpp")) optionImage.forceCplusplus = true;
  const bool succeeded = translateFile(path, standardInput);
  optionImage.forceCplusplus = outer;
  return succeeded;
}

static void processUnit(const char* path, bool standardInput) {
  ++unitNumber;
  showProgress(unitNumber, path);
  runUnit(unitNumber, path, standardInput);
}

static void processFile(const char* path) {
  processUnit(path, false);
}

// Reports an error that no limit stops, in its place among the units, and lets the run fail.
static void reportUnlimited(MessageId id, DiagArg argument) {
  runFailed = true;
  if (isJobProcess()) return;
  finishJobs();
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

// True if `name` may find what units of this run have made.
static bool mayNameOutputs(const char* name) {
  const char* const extension = name + splitPath(name).extension;
  return sameFileName(extension, ".i") || std::strpbrk(extension, "*?") != nullptr;
}

static void processSourceArg(const char* argument) {
  const char* const name = addDefaultExtension(defaultExtension, argument);
  if (mayNameOutputs(name)) finishJobs();
  const FindOutcome outcome = forEachMatch(processFile, name);
  if (outcome == filesFound) return;
  if (outcome == filesNoMemory) failOutOfMemory();
  reportUnlimited(outcome == filesMissing ? msgFileNotFound : msgCannotOpenInput, name);
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
  if (argument[1] != 'v') return;
  // The files before it have been read without it.
  finishJobs();
  if (!parseOption(secondLook, argument + 1)) refuseOption(textCommandLine, argument);
}

// How many units the arguments from number `i` on make, as far as that can be told before.
static uint32_t countUnits(char** argv, int argc, int i) {
  uint32_t count = longOptions.stdinName != nullptr ? 1 : 0;
  for (; i < argc; ++i) {
    FileMatches* matches;
    if (isLateSwitch(argv[i])) continue;
    if (std::strpbrk(argv[i], "*?") == nullptr) {
      ++count;
    } else if (findFiles(addDefaultExtension(defaultExtension, argv[i]), matches) == filesFound) {
      while (nextMatch(matches) != nullptr) ++count;
      closeMatches(matches);
    }
  }
  return count;
}

static void processArguments(char** argv, int argc) {
  int i = 1;
  while (i < argc && isSwitchArgument(argv[i])) ++i;
  if (mayShowProgress()) beginProgress(countUnits(argv, argc, i));
  if (longOptions.stdinName != nullptr) {
    processUnit(longOptions.stdinName, true);
    if (stopsTheRun()) {
      runFailed = true;
      return;
    }
  } else if (i >= argc) {
    reportUnlimited(msgNoFileNames, {});
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
  if (!consoleSwitch && !quietSwitch && !isJobProcess() && !hasLongFlag("version", argv, argc)) printBanner();
  if (argc <= 1) {
    printHelp();
    return;
  }
  // What is wrong with the arguments themselves should have the form that was asked for.
  if (hasLongFlag("messages=gnu", argv, argc)) messageForm = gnuMessages;
  expandResponseFiles(argv, argc);
  keepArguments(argv, argc);
  takeLongOptions(argv, argc);
  if (longOptions.help || longOptions.version) {
    if (longOptions.help) printFullHelp();
    if (longOptions.version) printVersion();
    return;
  }
  startReports();
  optionBootstrap(argv, argc);
  if (optionImage.outputFile != nullptr)
    optionImage.outputFile = addDefaultExtension(".i", optionImage.outputFile);
  constexpr Byte stopFlags = stopOnErrorFlag | stopOnWarningFlag;
  beginJobs((optionImage.batchFlags & stopFlags) != 0);
  processArguments(argv, argc);
}

int runProgram(int argc, char** argv) {
  consoleSwitch = quietSwitch = runFailed = false;
  unitNumber = 0;
  beginProgress(0);
  resetJobs(translateUnit);
  resetCounters();
  optionRefused = false;
  keepArguments(nullptr, 0);
  resetLongOptions();
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
  if (!finishJobs()) runFailed = true;
  eraseStatusLine();
  if (!isJobProcess() && !writeReportFiles(runFailed)) runFailed = true;
  dropReports();
  writeHints(runFailed);
  // The memory goes with the process: to release it takes two system calls of 8 us each.
  if (!finishConsole()) runFailed = true;
  removeFaultFilters();
  return runFailed ? 1 : 0;
}
