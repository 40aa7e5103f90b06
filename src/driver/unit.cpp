// The run of one translation unit.
//
// A fatal error returns through fatalJump. It is armed in two levels, each a
// record on the C stack: by guardedTranslate for its set-up, and by
// translationUnit for the body of the unit. Whatever a unit allocates goes in
// bulk at its end, so the way out needs to close handles and nothing else; no
// object with a destructor may live below the arming.

#include "driver/unit.h"

#include <cfenv>
#include <charconv>
#include <cstring>
#include <new>

#include "diag/report.h"
#include "directive/lines.h"
#include "driver/output.h"
#include "driver/program.h"
#include "driver/reports.h"
#include "driver/token_pass.h"
#include "expr/expr.h"
#include "input/frame.h"
#include "input/guard.h"
#include "input/multibyte.h"
#include "macro/define.h"
#include "macro/predefined.h"
#include "memory/memory.h"
#include "options/option_image.h"
#include "options/warnings.h"
#include "platform/faults.h"
#include "platform/files.h"
#include "platform/read_files.h"
#include "scanner/identifiers.h"
#include "scanner/scan.h"

constinit OptionStage optionStage = stageOutside;
constinit LocalTime compileTime{};
constinit SourceName* sourceNames = nullptr;

constexpr int unitFailed = 2;

// --- Set-up and teardown ---

static void clearWorkAreas() {
  tokenText[0] = 0;
  tokenTextPtr = tokenText;
  macroNameBuffer[0] = 0;
  messageLine = 0;
  savedTextPtr = nullptr;
  sourceNames = nullptr;
  resetGuards();
}

static void addSourceName(const char* name) {
  const size_t length = std::strlen(name);
  SourceName* const node = new (memAlloc(uint32_t(sizeof(SourceName) + length))) SourceName;
  node->next = nullptr;
  std::memcpy(node->name, name, length + 1);
  SourceName** tail = &sourceNames;
  while (*tail != nullptr) tail = &(*tail)->next;
  *tail = node;
}

static void beginUnit(const char* path) {
  resetCounters();
  clearWorkAreas();
  beginExpressions();
  installKeywords();
  loadWarnings();
  resetInputStack();
  beginUnitFiles();
  resetLineMarkers();
  currentFileName = memCopy(path, std::strlen(path));
  if (pushSourceFile(path) == notFound) reportFatal(msgCannotOpenInput, path);
  optionStage = stageSetup;
  addSourceName(currentFileName);
  installCommandDefines();
}

static void endUnit(bool failed) {
  if (!failed) ensureOutputOpen();
  if (optionStage == stageTokens) {
    if (failed && optionImage.keepOutput == 0)
      abandonOutput();
    else
      closeOutput();
  }
  endExpressions();
  memoryEndUnit();
  clearWorkAreas();
}

// --- The unit ---

static void guardedTokenPass(void*) {
  tokenPass();
}

// The protected body: everything that a fatal error may leave.
static int runUnit(const char* path) {
  beginUnit(path);
  installPredefinedMacros();
  if (!runWithStackGuard(guardedTokenPass, nullptr)) reportFatal(msgOutOfMemory);
  reportStatistics();
  reportGuards();
  const bool failed = errorCount != 0;
  if (!failed) ensureOutputOpen();
  endUnit(failed);
  return failed ? unitFailed : 0;
}

// The way out after a fatal error.
static int abortUnit() {
  while (popSourceFile(true)) {
  }
  endUnit(true);
  return unitFailed;
}

// Arms fatalJump with `target` for the run of `body`, and takes the result of
// `unwind` if a fatal error comes back.
static int runArmed(int (*body)(const char*), int (*unwind)(), const char* path) {
  FatalTarget target;
  target.outer = fatalJump;
  fatalJump = &target;
  const int result = setjmp(target.context) == 0 ? body(path) : unwind();
  fatalJump = target.outer;
  return result;
}

static int translationUnit(const char* path) {
  cplusplusMode = optionImage.forceCplusplus != 0;
  optionSave = optionImage;
  const int result = runArmed(runUnit, abortUnit, path);
  optionStage = stageOutside;
  optionImage = optionSave;
  currentFileName = nullptr;
  currentLine = 0;
  messageLine = 0;
  return result;
}

// --- Faults ---

// How far a fault filter has come: a fault in one of its own steps goes on with
// the next.
enum FilterState : int { filterFresh, filterReporting, filterPrinting, filterDone };

static constinit FilterState innerState = filterFresh;
static constinit FilterState outerState = filterFresh;
static constinit bool inUnit = false;

// Reports an internal error with `detail`, and gives the output up.
static void runFilter(FilterState& state, const char* detail) {
  if (state == filterFresh) {
    state = filterReporting;
    reportFatal(msgInternalError, detail);
  } else if (state == filterReporting) {
    static const char text[] = "Internal compiler error\n";
    state = filterPrinting;
    writeConsole(text, sizeof text - 1);
  }
  if (state != filterDone) {
    state = filterDone;
    removeOutput();
  }
  state = filterFresh;
}

// Appends `piece`, then `value` in hexadecimal with its prefix.
static char* addAddress(char* target, char* end, const char* piece, uintptr_t value) {
  const size_t length = std::strlen(piece);
  std::memcpy(target, piece, length);
  return std::to_chars(target + length, end, value, 16).ptr;
}

// Runs on a hardware fault: the filter of the unit, then that of the process,
// which ends it.
static void faultFilter(const FaultRecord& record) {
  if (inUnit) {
    char text[80];
    char* const end = text + sizeof text - 1;
    char* target = addAddress(text, end, "at 0x", record.address);
    target = addAddress(target, end, " with base 0x", record.base);
    *target = 0;
    runFilter(innerState, text);
  }
  runFilter(outerState, "");
  flushConsole();
  endProcessNow(1);
}

// The break signal: no message and no output. What was printed before stays printed.
static void breakHandler() {
  removeOutput();
  flushConsoleAtBreak();
}

constexpr int breakExitStatus = 255;

void installFaultFilters() {
  outerState = filterFresh;
  installFaultFilter(faultFilter);
  installBreakHandler(breakHandler, breakExitStatus);
}

void removeFaultFilters() {
  removeFaultFilter();
}

// --- The guarded run ---

static int prepareAndTranslate(const char* path) {
  compileTime = localTimeNow();
  saveClear = true;
  buildLeadByteTable();
  return translationUnit(path);
}

static int failedOutside() {
  return unitFailed;
}

int guardedTranslate(const char* path) {
  optionStage = stageOutside;
  innerState = filterFresh;
  installFaultFilter(faultFilter);
  inUnit = true;
  std::fenv_t environment;
  std::fegetenv(&environment);
  const int result = runArmed(prepareAndTranslate, failedOutside, path);
  std::fesetenv(&environment);
  inUnit = false;
  return result;
}
