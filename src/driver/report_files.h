// The reports that go to files of their own: each unit appends its part when it ends, and the end of the run
// writes them.

#pragma once

#include "base.h"
#include "platform/text_buffer.h"

// One report. The rows stand in report_files.cpp.
struct ReportFile {
  const char* const& path;  // of the file, empty for standard error, null if the report is not asked for
  TextBuffer& text;         // the parts of the units
  bool writtenEmpty;        // also when no unit has added anything
  bool fromEvents;          // made of the events of files, which are recorded for it
  // Appends the whole report to an empty text, made of the parts. `runFailed` is the status of the run.
  void (*appendWhole)(TextBuffer& file, const TextBuffer& parts, bool runFailed);
};

// The row number `index`, from 0 on; null after the last one.
const ReportFile* reportFile(size_t index);

// Empties all reports, and sets what is recorded; the start of a run, when the long switches are known.
void startReports();

// Appends the parts of the unit that ends; its output is closed.
void reportUnit(bool failed);

// Writes the files; the end of a run. False if one of them could not be written, which has been reported.
bool writeReportFiles(bool runFailed);

// Gives the memory of all reports back.
void dropReports();
