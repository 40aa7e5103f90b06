// The reports that go to files of their own.

#include "driver/report_files.h"

#include <iterator>

#include "diag/fatal.h"
#include "diag/message_forms.h"
#include "diag/report.h"
#include "driver/open_output.h"
#include "options/long_options.h"
#include "platform/files.h"
#include "platform/output_file.h"
#include "platform/read_files.h"
#include "record/deps.h"
#include "record/files.h"
#include "record/include_graph.h"
#include "record/trace.h"

// What the units have given so far.
static constinit TextBuffer depsText = {};
static constinit TextBuffer traceEvents = {};
static constinit TextBuffer graphParts = {};

static constinit const char* sarifPath = nullptr;  // of the log; empty for standard error, null for none

// --- Whole reports ---

static void appendAllDeps(TextBuffer& file, const TextBuffer& rules, bool) {
  appendBytes(file, rules.data, rules.length);
}

static void appendWholeTrace(TextBuffer& file, const TextBuffer& events, bool) {
  appendTrace(file, events);
}

static void appendWholeGraph(TextBuffer& file, const TextBuffer& parts, bool) {
  appendGraph(file, parts);
}

// The log comes last: it tells what went wrong with the others.
static constexpr ReportFile reports[] = {
    {longOptions.depsFile, depsText, false, true, appendAllDeps},
    {longOptions.traceFile, traceEvents, true, true, appendWholeTrace},
    {longOptions.includeGraphFile, graphParts, true, true, appendWholeGraph},
    {sarifPath, sarifResults, true, false, appendSarifLog},
};

const ReportFile* reportFile(size_t index) {
  return index < std::size(reports) ? &reports[index] : nullptr;
}

void startReports() {
  dropReports();
  sarifPath = nullptr;
  if (messageForm == sarifMessages)
    sarifPath = longOptions.messages.file == nullptr ? "" : longOptions.messages.file;
  recording = false;
  for (const ReportFile& report : reports)
    if (report.path != nullptr && report.fromEvents) recording = true;
}

void reportUnit(bool failed) {
  if (longOptions.depsFile != nullptr && !failed) {
    const char* const target = longOptions.depsTarget != nullptr ? longOptions.depsTarget : unitOutputName();
    appendDeps(depsText, target, longOptions.depsPhony);
  }
  if (longOptions.traceFile != nullptr) appendUnitTrace(traceEvents, failed);
  if (longOptions.includeGraphFile != nullptr) appendUnitGraph(graphParts);
}

// The whole text of the report that is being written.
static constinit TextBuffer fileText = {};

// A report that is to be written.
struct ReportWriting {
  const ReportFile& report;
  bool runFailed;
};

// Writes the report and gives it its name. A failure leaves by a fatal error.
static void writeReport(void* argument) {
  const auto& [report, runFailed] = *static_cast<const ReportWriting*>(argument);
  report.appendWhole(fileText, report.text, runFailed);
  if (report.text.failed || fileText.failed) reportFatal(msgOutOfMemory);
  if (*report.path == 0) {
    // What was printed stands before it, if both go to one place.
    flushConsole();
    if (!writeErrorStream(fileText.data, fileText.length)) reportFatal(msgWriteFailed);
    return;
  }
  const int handle = createFile(report.path);
  if (handle == openNoMemory) reportFatal(msgOutOfMemory);
  if (handle < 0) reportFatal(msgCannotCreateOutput, report.path);
  FinishResult result = finishNotWritten;
  if (writeFile(handle, fileText.data, fileText.length))
    result = finishCreatedFile(handle);
  else
    closeFile(handle);
  if (result == finishDone) return;
  removeCreatedFile();
  if (result == finishRefused) reportFatal(msgCannotCreateOutput, report.path);
  reportFatal(msgWriteFailed);
}

bool writeReportFiles(bool runFailed) {
  bool written = true;
  countAllReaders();
  for (const ReportFile& report : reports) {
    const bool any = report.writtenEmpty || report.text.length != 0 || report.text.failed;
    if (report.path == nullptr || !any) continue;
    resetCounters();
    ReportWriting writing = {report, runFailed || !written};
    if (!runProtected(writeReport, &writing)) written = false;
    emptyBuffer(fileText);
  }
  return written;
}

void dropReports() {
  for (const ReportFile& report : reports) emptyBuffer(report.text);
  dropFileEvents();
}
