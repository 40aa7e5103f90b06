// Errors, warnings and fatal errors.
//
// A message is written at the moment it is found and flushed at once, so that it
// stands in its place among the console's other text and survives a crash. Two
// limits stop a unit with too many messages; they end it as a fatal error does, by
// a jump to the innermost armed level. From then on reporting is silent until the
// next unit begins: a teardown may run into anything and adds no second message.
//
// Texts come from the catalogue, which a translator may have replaced. So the
// formatter trusts no placeholder: it goes by the kind of the argument that it has and
// never reads one that wasn't given. Nothing on this path allocates.

#include "diag/report.h"

#include <charconv>
#include <cstring>

#include "diag/fatal.h"
#include "diag/message_forms.h"
#include "diag/position.h"
#include "diag/warnings.h"
#include "platform/files.h"

constinit uint32_t errorCount = 0;
constinit uint32_t messageCount = 0;
constinit bool fatalSeen = false;
constinit bool messagesMuted = false;
constinit MessageLimits messageLimits{};

// Room for the text of one diagnostic; a longer one is cut. The words around it
// have the room of any text.
constexpr size_t diagnosticTextSize = 512;

// The code before a diagnostic's text, and the blank after it.
constexpr size_t codeLength = 5;

void resetCounters() {
  errorCount = 0;
  messageCount = 0;
  fatalSeen = false;
}

// Length of the placeholder at `mark`, which is a '%'; 0 if it is none.
static size_t placeholderLength(const char* mark) {
  if (mark[1] == 's' || mark[1] == 'd' || mark[1] == 'x') return 2;
  return mark[1] == 'l' && mark[2] == 'd' ? 3 : 0;
}

// Writes a number for the placeholder letter `letter`.
static void formatNumber(int64_t value, char letter, MessageSink sink) {
  char digits[24];
  // A negative int is shown in hexadecimal with its own 32 bits.
  if (letter == 'x' && value < 0) value = uint32_t(value);
  const std::to_chars_result result =
      std::to_chars(digits, digits + sizeof digits, value, letter == 'x' ? 16 : 10);
  sink(digits, size_t(result.ptr - digits));
}

// Writes an argument for the placeholder letter `letter`.
static void formatArgument(const DiagArg& argument, char letter, MessageSink sink) {
  if (argument.kind == DiagArg::number)
    formatNumber(argument.value, letter, sink);
  else if (argument.string != nullptr)
    sink(argument.string, std::strlen(argument.string));
}

void formatMessage(const char* text, const DiagArg* arguments, int count, MessageSink sink) {
  int used = 0;
  while (const char* mark = std::strchr(text, '%')) {
    sink(text, size_t(mark - text));
    const size_t length = placeholderLength(mark);
    if (length != 0 && used < count && arguments[used].kind != DiagArg::none) {
      formatArgument(arguments[used++], mark[length - 1], sink);
      text = mark + length;
    } else {
      sink(mark, 1);
      text = mark[1] == '%' ? mark + 2 : mark + 1;
    }
  }
  sink(text, std::strlen(text));
}

// The sink of all messages. A failed write can't be reported: the message would
// go the same way.
static void writeToConsole(const char* piece, size_t length) {
  (void)writeConsole(piece, length);
}

// The same for a text.
static void writeToConsole(const char* text) {
  writeToConsole(text, std::strlen(text));
}

void writeMessage(MessageId id, DiagArg first) {
  char text[messageTextLimit];
  formatMessage(loadConsoleMessage(sizeof text, text, id), &first, 1, writeToConsole);
}

// Writes the part of a line between the severity and the message: code, file and
// line, as far as there are any.
static void writePlace(const char* code, size_t length) {
  writeToConsole(" ");
  writeToConsole(code, length);
  if (currentFileName != nullptr) {
    writeToConsole(" ");
    writeToConsole(currentFileName);
  }
  if (messageLine != 0) {
    writeToConsole(" ");
    formatNumber(messageLine, 'd', writeToConsole);
  }
  writeToConsole(": ");
}

// The sink of what the console can't take any more. If this is lost too, the status still tells.
static void writeToErrorStream(const char* piece, size_t length) {
  (void)writeErrorStream(piece, length);
}

void reportLostConsole() {
  char severity[diagnosticTextSize];
  char text[diagnosticTextSize];
  loadMessageInto(sizeof severity, severity, textError);
  loadMessageInto(sizeof text, text, msgWriteFailed);
  if (messageForm == gnuMessages) {
    writeGnuMessage({msgWriteFailed, textError, text, nullptr, 0}, writeToErrorStream);
    return;
  }
  const bool hasCode = std::strlen(text) > codeLength + 1;
  const size_t length = hasCode ? codeLength : std::strlen(text);
  writeToErrorStream(severity, std::strlen(severity));
  writeToErrorStream(" ", 1);
  writeToErrorStream(text, length);
  writeToErrorStream(": ", 2);
  if (hasCode) writeToErrorStream(text + codeLength + 1, std::strlen(text + codeLength + 1));
  writeToErrorStream("\n", 1);
}

// Writes the line of a message in the family's form.
static void writeFamilyMessage(const ShownMessage& message) {
  char severity[messageTextLimit];
  loadMessageInto(sizeof severity, severity, message.severity);

  // A text too short for a code and a message serves as both.
  const char* const text = message.text;
  const size_t length = std::strlen(text);
  const bool hasCode = length > codeLength + 1;
  writeToConsole(severity);
  writePlace(text, hasCode ? codeLength : length);
  formatMessage(hasCode ? text + codeLength + 1 : text, message.arguments, message.argumentCount,
                writeToConsole);
  writeToConsole("\n");
}

void formatDiagnostic(MessageId id, DiagArg first, DiagArg second, MessageId severityWord) {
  char text[diagnosticTextSize];
  loadMessageInto(sizeof text, text, id);
  const DiagArg arguments[] = {first, second};
  const ShownMessage message = {id, severityWord, text, arguments, 2};
  if (messageForm == gnuMessages)
    writeGnuMessage(message, writeToConsole);
  else
    writeFamilyMessage(message);
  (void)flushConsole();
  if (messageForm == sarifMessages) addSarifResult(message);
}

// Leaves the unit after a fatal message.
[[noreturn]] static void leaveUnit() {
  ++errorCount;
  ++messageCount;
  fatalSeen = true;
  leaveLevel();
}

void reportFatal(MessageId id, DiagArg first) {
  if (fatalSeen) return;
  // A file that cannot be opened or written is called an error, though it is fatal.
  formatDiagnostic(id, first, {}, id < msgCannotOpenInput ? textFatal : textError);
  // The fault filters report the internal error, and end the process themselves.
  if (id != msgInternalError) leaveUnit();
}

void failOutOfMemory() {
  reportFatal(msgOutOfMemory);
  leaveRun();
}

// Ends a unit that has reached a limit.
[[noreturn]] static void stopAtLimit() {
  formatDiagnostic(msgTooManyMessages, {}, {}, textError);
  leaveUnit();
}

// True if `count` has reached `limit`, which is 0 for no limit.
static bool reached(uint32_t count, Byte limit) {
  return limit != 0 && count >= limit;
}

void reportError(MessageId id, DiagArg first, DiagArg second) {
  if (fatalSeen || messagesMuted) return;
  formatDiagnostic(id, first, second, textError);
  ++errorCount;
  ++messageCount;
  if (reached(errorCount, messageLimits.errors) || reached(messageCount, messageLimits.warnings))
    stopAtLimit();
}

void reportWarning(MessageId id, DiagArg first) {
  if (!warningOn[id - firstWarningId] || fatalSeen || messagesMuted) return;
  formatDiagnostic(id, first, {}, textWarning);
  ++messageCount;
  if (reached(messageCount - errorCount, messageLimits.warnings)) stopAtLimit();
}
