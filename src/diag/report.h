// Reporting of errors and warnings, and the way out after a fatal one.
//
// Every message is one line on standard output, written when it is found:
//
//   Error E2048 a.c 12: Unknown preprocessor directive: 'foo'
//
// Owns the counters of the unit and the limits that stop it.

#pragma once

#include "base.h"
#include "diag/messages.h"

// One value for a placeholder of a message: a text or a number.
struct DiagArg {
  enum Kind : Byte { none, text, number };

  Kind kind = none;
  const char* string = nullptr;  // with kind text; NUL-terminated
  int64_t value = 0;             // with kind number

  constexpr DiagArg() = default;
  constexpr DiagArg(const char* s) : kind(text), string(s) {}
  DiagArg(const Byte* s) : kind(text), string(asChars(s)) {}
  constexpr DiagArg(int v) : kind(number), value(v) {}
  constexpr DiagArg(uint32_t v) : kind(number), value(v) {}
};

// The counters of this unit; they stay until the next one begins.
extern uint32_t errorCount;    // errors, fatal ones included
extern uint32_t messageCount;  // errors and warnings
extern bool fatalSeen;         // a fatal error or a limit: all reporting is silent

// Errors and warnings are neither shown nor counted: text is only being tried out.
extern bool messagesMuted;

// How many messages stop a unit; 0 for any number. Set by the switches.
struct MessageLimits {
  Byte errors;    // -j: of errors
  Byte warnings;  // -g: of warnings, and of errors and warnings together
};
extern MessageLimits messageLimits;

// Clears the three counters; the start of a unit.
void resetCounters();

// Takes the pieces of a formatted text, one after the other.
using MessageSink = void (*)(const char* piece, size_t length);

// Hands `text` to `sink` with the arguments in the places of %s, %d, %ld and %x,
// and '%' for "%%". The text may come from a translator: the kind of an argument
// decides how it is written, a placeholder without an argument and any other '%'
// stand as they are, and a surplus argument is left out.
void formatMessage(const char* text, const DiagArg* arguments, int count, MessageSink sink);

// Writes the text of `id` to standard output, with `first` in its placeholder.
void writeMessage(MessageId id, DiagArg first = {});

// Writes to the error stream that the console has lost text. For the end of a run.
void reportLostConsole();

// Writes one message line.
void formatDiagnostic(MessageId id, DiagArg first, DiagArg second, MessageId severityWord);

// A fatal error: leaves by the jump of diag/fatal.h. Returns only for
// msgInternalError, and when fatalSeen is set.
VSP_COLD void reportFatal(MessageId id, DiagArg first = {});

// "Out of memory" as a fatal error, for callers that cannot go on: during the
// teardown that follows a fatal error it ends the run.
[[noreturn]] VSP_COLD void failOutOfMemory();

// An error; returns unless a limit stops the unit.
VSP_COLD void reportError(MessageId id, DiagArg first = {}, DiagArg second = {});

// A warning, if it is switched on; returns likewise.
VSP_COLD void reportWarning(MessageId id, DiagArg first = {});
