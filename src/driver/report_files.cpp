// The reports that go to files of their own.

#include "driver/report_files.h"

#include <iterator>

#include "diag/fatal.h"
#include "diag/report.h"
#include "driver/open_output.h"
#include "options/long_options.h"
#include "platform/files.h"
#include "platform/output_file.h"
#include "platform/read_files.h"
#include "record/deps.h"
#include "record/files.h"

static constinit TextBuffer depsText = {};

static constexpr ReportFile reports[] = {
    {longOptions.depsFile, depsText, false, nullptr, nullptr},
};

const ReportFile* reportFile(size_t index) {
  return index < std::size(reports) ? &reports[index] : nullptr;
}

void startReports() {
  dropReports();
  recording = false;
  for (const ReportFile& report : reports)
    if (report.path != nullptr) recording = true;
}

void reportUnit(bool failed) {
  if (longOptions.depsFile != nullptr && !failed) {
    const char* const target = longOptions.depsTarget != nullptr ? longOptions.depsTarget : unitOutputName();
    appendDeps(depsText, target, longOptions.depsPhony);
  }
}

// The whole text of the report that is being written.
static constinit TextBuffer fileText = {};

// Writes the report and gives it its name. A failure leaves by a fatal error.
static void writeReport(void* argument) {
  const ReportFile& report = *static_cast<ReportFile*>(argument);
  if (report.appendHead != nullptr) report.appendHead(fileText);
  appendBytes(fileText, report.text.data, report.text.length);
  if (report.appendTail != nullptr) report.appendTail(fileText);
  if (report.text.failed || fileText.failed) reportFatal(msgOutOfMemory);
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

bool writeReportFiles() {
  bool written = true;
  countAllReaders();
  for (const ReportFile& report : reports) {
    const bool any = report.writtenEmpty || report.text.length != 0 || report.text.failed;
    if (report.path == nullptr || !any) continue;
    resetCounters();
    ReportFile copy = report;
    if (!runProtected(writeReport, &copy)) written = false;
    emptyBuffer(fileText);
  }
  return written;
}

void dropReports() {
  for (const ReportFile& report : reports) emptyBuffer(report.text);
  dropFileEvents();
}
