// The forms in which messages are written: the family's own, that of other compilers, and a log.
//
//   Error E2048 a.c 12: Unknown preprocessor directive: 'foo'
//   a.c:12: error: Unknown preprocessor directive: 'foo' [E2048]

#pragma once

#include "base.h"
#include "diag/report.h"
#include "platform/text_buffer.h"

enum MessageForm : Byte {
  familyMessages,  // Error E2048 a.c 12: text
  gnuMessages,     // a.c:12: error: text [E2048]
  sarifMessages    // the family's own, and entries of a SARIF log
};

// Set by the switches.
extern MessageForm messageForm;

// A message that is to be shown. Its place is that of diag/position.h.
struct ShownMessage {
  MessageId id;
  MessageId severity;        // textError, textWarning or textFatal
  const char* text;          // of the catalogue in force, with its code and placeholders
  const DiagArg* arguments;  // for the placeholders
  int argumentCount;
};

// Writes the line of a message in the form gnuMessages.
void writeGnuMessage(const ShownMessage& message, MessageSink sink);

// The messages of the run as entries of a SARIF log, each with a comma after it.
extern TextBuffer sarifResults;

// Adds a message to them.
void addSarifResult(const ShownMessage& message);

// Appends the log with these entries; `failed` is that of the run.
void appendSarifLog(TextBuffer& log, const TextBuffer& results, bool failed);
