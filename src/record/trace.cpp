// The trace of a run.
//
// A span is one event with its duration, since some readers tell spans apart by all that they say. Spans
// stand in the order of their beginnings. Times are those of a clock that all processes of the host share.

#include "record/trace.h"

#include "diag/json_text.h"
#include "diag/position.h"
#include "diag/report.h"
#include "platform/clock.h"
#include "record/files.h"

// Appends a time of steadyTime in microseconds, with three decimals.
static void appendMicroseconds(TextBuffer& events, int64_t time) {
  appendNumber(events, time / 1000);
  const char decimals[] = {'.', char('0' + time / 100 % 10), char('0' + time / 10 % 10),
                           char('0' + time % 10)};
  appendBytes(events, decimals, sizeof decimals);
}

// Appends what all events have, up to the time.
static void beginEvent(TextBuffer& events, const char* name, const char* head, int64_t time) {
  appendText(events, "{\"name\":");
  appendJsonString(events, name);
  appendText(events, head);
  appendText(events, ",\"pid\":1,\"tid\":");
  appendNumber(events, unitNumber);
  appendText(events, ",\"ts\":");
  appendMicroseconds(events, time);
}

// Appends the sizes that a file had when it was left.
static void appendSizes(TextBuffer& events, const FileEvent& left) {
  appendText(events, "\"bytes\":");
  appendNumber(events, int64_t(left.bytes));
  appendText(events, ",\"lines\":");
  appendNumber(events, int64_t(left.lines));
}

static void appendSpan(TextBuffer& events, const FileEvent& entered, const FileEvent& left) {
  beginEvent(events, hostNameOfEvent(entered), ",\"cat\":\"include\",\"ph\":\"X\"", entered.time);
  appendText(events, ",\"dur\":");
  appendMicroseconds(events, left.time - entered.time);
  appendText(events, ",\"args\":{");
  appendSizes(events, left);
  appendText(events, left.guarded ? ",\"guarded\":true}},\n" : "}},\n");
}

static void appendInstant(TextBuffer& events, const FileEvent& event) {
  const bool skipped = event.kind == fileSkipped;
  beginEvent(events, hostNameOfEvent(event),
             skipped ? ",\"cat\":\"skipped by its guard\",\"ph\":\"i\",\"s\":\"t\""
                     : ",\"cat\":\"import\",\"ph\":\"i\",\"s\":\"t\"",
             event.time);
  appendText(events, ",\"args\":{\"line\":");
  appendNumber(events, event.line);
  appendText(events, "}},\n");
}

// Appends the span of the unit and the name of its thread.
static void appendUnit(TextBuffer& events, bool failed) {
  const FileEvents files = fileEvents();
  const char* const name = files.count != 0 ? hostNameOfEvent(files.items[0]) : currentFileName;
  appendText(events, "{\"name\":\"thread_name\",\"ph\":\"M\",\"pid\":1,\"tid\":");
  appendNumber(events, unitNumber);
  appendText(events, ",\"args\":{\"name\":");
  appendJsonString(events, name);
  appendText(events, "}},\n");
  beginEvent(events, name, ",\"cat\":\"unit\",\"ph\":\"X\"", files.start);
  appendText(events, ",\"dur\":");
  appendMicroseconds(events, steadyTime() - files.start);
  appendText(events, ",\"args\":{");
  if (files.count != 0 && files.items[0].partner != noEvent) {
    appendSizes(events, files.items[files.items[0].partner]);
    appendText(events, ",");
  }
  appendText(events, "\"messages\":");
  appendNumber(events, messageCount);
  appendText(events, failed ? ",\"failed\":true}},\n" : "}},\n");
}

void appendUnitTrace(TextBuffer& events, bool failed) {
  if (!fileEventsComplete()) events.failed = true;
  appendUnit(events, failed);
  const FileEvents files = fileEvents();
  // The first file is the unit itself.
  for (size_t i = 1; i < files.count; ++i) {
    const FileEvent& event = files.items[i];
    if (event.kind == fileSkipped || event.kind == fileRead)
      appendInstant(events, event);
    else if (event.kind == fileEntered && event.partner != noEvent)
      appendSpan(events, event, files.items[event.partner]);
  }
}

void appendTrace(TextBuffer& trace, const TextBuffer& events) {
  appendText(trace,
             "{\"displayTimeUnit\":\"ms\",\"traceEvents\":[\n"
             "{\"name\":\"process_name\",\"ph\":\"M\",\"pid\":1,\"tid\":0,\"args\":{\"name\":\"vsp32\"}},\n");
  appendBytes(trace, events.data, events.length);
  dropListEnd(trace);
  appendText(trace, "\n]}\n");
}
