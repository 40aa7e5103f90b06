// The forms of messages that other tools read.
//
// The code and the severity come from the number of a message and not from its text, which a translator may
// have replaced: tools compare them.

#include "diag/message_forms.h"

#include <charconv>
#include <cstring>
#include <string_view>

#include "diag/json_text.h"
#include "diag/messages.h"
#include "diag/position.h"
#include "diag/warnings.h"
#include "platform/files.h"

constinit MessageForm messageForm = familyMessages;
constinit TextBuffer sarifResults = {};

// The built-in text of a message begins with its code and a blank.
constexpr size_t codeLength = 5;

// The code of a message, codeLength bytes; empty for one without a built-in text.
static std::string_view codeOf(MessageId id) {
  const int row = diagnosticRow(id);
  return row < 0 ? std::string_view() : std::string_view(builtInDiagnostics()[size_t(row)].text, codeLength);
}

// The text of a message without its code.
static const char* textWithoutCode(const ShownMessage& message) {
  const std::string_view code = codeOf(message.id);
  const bool coded = std::strncmp(message.text, code.data(), code.length()) == 0;
  return coded && message.text[code.length()] == ' ' ? message.text + code.length() + 1 : message.text;
}

// The name of the current file as other programs find it, in `room` or as it stands.
static const char* fileForTools(const ShownMessage& message, char (&room)[hostPathSize]) {
  // After an internal error nothing is asked of the host.
  return message.id != msgInternalError && spellForHost(currentFileName, room) ? room : currentFileName;
}

// --- The form of other compilers ---

static void send(MessageSink sink, std::string_view text) {
  sink(text.data(), text.length());
}

void writeGnuMessage(const ShownMessage& message, MessageSink sink) {
  char room[hostPathSize];
  send(sink, currentFileName != nullptr ? fileForTools(message, room) : "vsp32");
  if (currentFileName != nullptr && messageLine != 0) {
    char digits[16];
    send(sink, ":");
    sink(digits, size_t(std::to_chars(digits, digits + sizeof digits, messageLine).ptr - digits));
  }
  send(sink, message.severity == textWarning ? ": warning: "
             : message.severity == textFatal ? ": fatal error: "
                                             : ": error: ");
  formatMessage(textWithoutCode(message), message.arguments, message.argumentCount, sink);
  send(sink, " [");
  send(sink, codeOf(message.id));
  send(sink, "]\n");
}

// --- The log ---

// Takes the pieces of a message's text.
static void addJsonPiece(const char* piece, size_t length) {
  appendJsonPart(sarifResults, piece, length);
}

static const char* levelOf(MessageId id) {
  return id >= firstWarningId ? "\"warning\"" : "\"error\"";
}

static void addLocation(const ShownMessage& message) {
  char room[hostPathSize];
  appendText(sarifResults, ",\"locations\":[{\"physicalLocation\":{\"artifactLocation\":{\"uri\":");
  appendJsonUri(sarifResults, fileForTools(message, room));
  appendText(sarifResults, "}");
  if (messageLine > 0) {
    appendText(sarifResults, ",\"region\":{\"startLine\":");
    appendNumber(sarifResults, messageLine);
    appendText(sarifResults, "}");
  }
  appendText(sarifResults, "}}]");
}

void addSarifResult(const ShownMessage& message) {
  appendText(sarifResults, "{\"ruleId\":\"");
  const std::string_view code = codeOf(message.id);
  appendBytes(sarifResults, code.data(), code.length());
  appendText(sarifResults, "\",\"ruleIndex\":");
  appendNumber(sarifResults, diagnosticRow(message.id));
  appendText(sarifResults, ",\"level\":");
  appendText(sarifResults, levelOf(message.id));
  appendText(sarifResults, ",\"message\":{\"text\":\"");
  formatMessage(textWithoutCode(message), message.arguments, message.argumentCount, addJsonPiece);
  appendText(sarifResults, "\"}");
  if (currentFileName != nullptr) addLocation(message);
  appendText(sarifResults, "},\n");
}

// Appends the text of a rule: that of its messages with dots for what differs.
static void appendRuleText(TextBuffer& log, const char* text) {
  while (const char* const mark = std::strchr(text, '%')) {
    appendJsonPart(log, text, size_t(mark - text));
    appendText(log, "...");
    text = mark + 2;
  }
  appendJsonPart(log, text, std::strlen(text));
}

static void appendRule(TextBuffer& log, const StringRow& row) {
  const MessageId id = MessageId(row.id);
  appendText(log, "{\"id\":\"");
  appendBytes(log, row.text, codeLength);
  appendText(log, "\",\"shortDescription\":{\"text\":\"");
  appendRuleText(log, row.text + codeLength + 1);
  appendText(log, "\"},\"defaultConfiguration\":{");
  if (id >= firstWarningId && !isOnByDefault(id)) appendText(log, "\"enabled\":false,");
  appendText(log, "\"level\":");
  appendText(log, levelOf(id));
  appendText(log, "}}");
}

// Appends what comes before the entries.
static void appendSarifHead(TextBuffer& log) {
  appendText(log,
             "{\"$schema\":\"https://docs.oasis-open.org/sarif/sarif/v2.1.0/errata01/os/schemas/"
             "sarif-schema-2.1.0.json\",\n\"version\":\"2.1.0\",\n\"runs\":[{\n"
             "\"tool\":{\"driver\":{\"name\":\"VSP32\",\"version\":\"");
  appendText(log, programVersion);
  appendText(log, "\",\"rules\":[\n");
  const char* separator = "";
  for (const StringRow& row : builtInDiagnostics()) {
    appendText(log, separator);
    appendRule(log, row);
    separator = ",\n";
  }
  appendText(log, "\n]}},\n\"results\":[\n");
}

void appendSarifLog(TextBuffer& log, const TextBuffer& results, bool failed) {
  appendSarifHead(log);
  appendBytes(log, results.data, results.length);
  dropListEnd(log);
  appendText(log, "\n],\n\"invocations\":[{\"executionSuccessful\":");
  appendText(log, failed ? "false" : "true");
  appendText(log, "}]\n}]}\n");
}
