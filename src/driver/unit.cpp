// The run of one translation unit.
//
// A fatal error leaves the unit by a non-local return to one of two levels: that
// of guardedTranslate covers its set-up, that of translationUnit the body of the
// unit. Whatever a unit allocates goes in bulk at its end, so the way out needs to
// close handles and nothing else; no object with a destructor may live below.

#include "driver/unit.h"

#include <charconv>
#include <cstring>

#include "diag/fatal.h"
#include "diag/message_forms.h"
#include "diag/position.h"
#include "diag/report.h"
#include "diag/warnings.h"
#include "driver/open_output.h"
#include "driver/report_files.h"
#include "driver/reports.h"
#include "driver/token_pass.h"
#include "expr/expr.h"
#include "input/frame.h"
#include "input/guard.h"
#include "macro/define.h"
#include "macro/explain_macro.h"
#include "macro/flat_text.h"
#include "macro/predefined.h"
#include "memory/memory.h"
#include "names/names.h"
#include "options/lead_bytes.h"
#include "options/long_options.h"
#include "options/option_image.h"
#include "output/line_markers.h"
#include "output/output.h"
#include "platform/clock.h"
#include "platform/faults.h"
#include "platform/files.h"
#include "platform/float_state.h"
#include "platform/jobs.h"
#include "platform/read_files.h"
#include "record/explain.h"
#include "record/files.h"
#include "scanner/keywords.h"
#include "scanner/scan.h"

// A unit that is being translated.
struct UnitRun {
  const char* path;
  bool standardInput;  // its text comes from there; the path is its name alone
  bool failed;
};

// --- Set-up and teardown ---

static PushResult pushSource(const UnitRun& unit) {
  return unit.standardInput ? pushStandardInput(unit.path) : pushSourceFile(unit.path);
}

static void beginUnit(const UnitRun& unit) {
  const char* const path = unit.path;
  resetCounters();
  resetGuards();
  resetPosition();
  beginExpressions();
  resetInputStack();
  resetNames();
  installKeywords();
  loadWarnings();
  startScanner();
  resetFlatTexts();
  beginUnitFiles();
  resetLineMarkers();
  currentFileName = memCopy(path, std::strlen(path));
  prepareOutput(currentFileName);
  if (pushSource(unit) != pushed) reportFatal(msgCannotOpenInput, path);
  if (longOptions.explainName != nullptr) beginExplainedUnit(path, longOptions.explainName, identLimit);
  installCommandDefines();
}

static void endUnit(bool failed) {
  endExplainedUnit();
  if (!failed) ensureOutputOpen();
  if (isOutputNamed()) {
    if (failed && !optionImage.keepOutput)
      abandonOutput();
    else
      closeOutput();
  }
  if (recording) reportUnit(failed);
  endExpressions();
  memoryEndUnit();
  messageLine = 0;
  resetGuards();
}

// --- The unit ---

static void guardedTokenPass(void*) {
  tokenPass();
}

// The protected body: everything that a fatal error may leave.
static void runUnit(void* argument) {
  UnitRun& unit = *static_cast<UnitRun*>(argument);
  beginUnit(unit);
  installPredefinedMacros();
  if (!runWithStackGuard(guardedTokenPass, nullptr)) reportFatal(msgOutOfMemory);
  reportStatistics();
  reportGuards();
  unit.failed = errorCount != 0;
  if (!unit.failed) ensureOutputOpen();
  endUnit(unit.failed);
}

// The way out after a fatal error.
static void abortUnit() {
  endTrial();
  while (popSourceFile(true)) {
  }
  endUnit(true);
}

static void translationUnit(UnitRun& unit) {
  cplusplusMode = optionImage.forceCplusplus;
  optionSave = optionImage;
  if (recording) beginFileEvents();
  if (!runProtected(runUnit, &unit)) abortUnit();
  optionImage = optionSave;
  resetPosition();
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
  // The process ends without a log, and may have broken in the allocator.
  if (messageForm == sarifMessages) messageForm = familyMessages;
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
  stopJobs();
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

static void prepareAndTranslate(void* argument) {
  compileTime = timeNow();
  buildLeadByteTable();
  translationUnit(*static_cast<UnitRun*>(argument));
}

bool guardedTranslate(const char* path, bool standardInput) {
  innerState = filterFresh;
  installFaultFilter(faultFilter);
  inUnit = true;
  const FloatState floats = floatState();
  // What a fatal error leaves has failed.
  UnitRun unit{path, standardInput, true};
  runProtected(prepareAndTranslate, &unit);
  setFloatState(floats);
  inUnit = false;
  return !unit.failed;
}
