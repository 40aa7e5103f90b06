// The history of one macro.
//
// A line is put together in a text of its own and written at once, so that the lines of units that run side
// by side don't mix.

#include "record/explain.h"

#include <cstring>

#include "diag/position.h"
#include "diag/report.h"
#include "platform/files.h"
#include "platform/text_buffer.h"

constinit bool explaining = false;

// The macro and its unit.
struct Explanation {
  std::string_view name;  // as far as it counts
  const char* path;       // of the unit
  bool begun;             // something has been told of it
  bool known;             // the macro is defined, and its definition was in the text of this unit
  TextBuffer definition;  // its parameters and its text
  TextBuffer place;       // where that stands
};
static constinit Explanation macro{};

static constinit TextBuffer line = {};

static void add(std::string_view text) {
  appendBytes(line, text.data(), text.length());
}

// The current file as other programs find it, or as it stands.
static const char* currentFile() {
  static constinit char room[hostPathSize] = {};
  return spellForHost(currentFileName, room) ? room : currentFileName;
}

// Writes the line. What can't be written ends the unit, as with other reports.
static void writeLine() {
  add("\n");
  if (line.failed) reportFatal(msgOutOfMemory);
  const bool written = writeErrorStream(line.data, line.length);
  line.length = 0;
  if (!written) reportFatal(msgWriteFailed);
}

// Begins a line on the macro, the first one of a unit with the head of all.
static void beginLine(const char* file, int32_t number) {
  line.length = 0;
  if (!macro.begun) {
    macro.begun = true;
    add(macro.path);
    add(": the macro ");
    add(macro.name);
    writeLine();
  }
  add("  ");
  add(file);
  if (number > 0) {
    add(":");
    appendNumber(line, number);
  }
  add(": ");
}

// The same for the directive being read.
static void beginDirectiveLine(const char* word) {
  beginLine(currentFile(), messageLine);
  add(word);
  add(macro.name);
}

// The same for what comes from no file.
static void beginOriginLine(const char* origin) {
  beginLine(origin, 0);
  add(macro.name);
}

static void addDefinition() {
  appendBytes(line, macro.definition.data, macro.definition.length);
  add(" from ");
  appendBytes(line, macro.place.data, macro.place.length);
}

void beginExplainedUnit(const char* path, const char* name, uint32_t nameLimit) {
  const size_t length = std::strlen(name);
  emptyBuffer(macro.definition);
  emptyBuffer(macro.place);
  emptyBuffer(line);
  macro = {std::string_view(name, length < nameLimit ? length : nameLimit), path, false, false, {}, {}};
  explaining = true;
}

void endExplainedUnit() {
  if (!explaining) return;
  explaining = false;
  if (macro.begun) return;
  line.length = 0;
  add(macro.path);
  add(": the macro ");
  add(macro.name);
  add(" is neither defined nor asked for");
  writeLine();
}

bool isExplained(const Byte* name, size_t length) {
  return macro.name == std::string_view(asChars(name), length);
}

// Notes the current definition for what comes after it.
static void keepDefinition(DefinitionOrigin origin, std::string_view parameters, std::string_view text) {
  macro.definition.length = macro.place.length = 0;
  appendBytes(macro.definition, parameters.data(), parameters.length());
  if (!parameters.empty()) appendText(macro.definition, " ");
  if (text.empty()) text = "nothing";
  appendBytes(macro.definition, text.data(), text.length());
  if (origin == definedInSource) {
    appendText(macro.place, currentFile());
    appendText(macro.place, ":");
    appendNumber(macro.place, messageLine);
  } else {
    appendText(macro.place, origin == definedOnCommandLine ? "the command line" : "the program");
  }
  if (macro.definition.failed || macro.place.failed) reportFatal(msgOutOfMemory);
  macro.known = true;
}

void explainDefinition(DefinitionOrigin origin, std::string_view parameters, std::string_view text,
                       bool repeated) {
  if (origin == definedInSource)
    beginDirectiveLine("");
  else
    beginOriginLine(origin == definedOnCommandLine ? "command line" : "predefined");
  add(parameters);
  add(" defined as ");
  add(text.empty() ? "nothing" : text);
  if (macro.known) {
    add(repeated ? " (as it was: " : " (was ");
    addDefinition();
    add(")");
  }
  writeLine();
  if (!repeated || !macro.known) keepDefinition(origin, parameters, text);
}

void explainUndefinition(bool wasMacro) {
  beginDirectiveLine("");
  add(" undefined");
  if (wasMacro && macro.known) {
    add(" (was ");
    addDefinition();
    add(")");
  } else if (!wasMacro) {
    add(", and was no macro");
  }
  macro.known = false;
  writeLine();
}

void explainQuestion(const char* directive, bool defined) {
  beginDirectiveLine(directive);
  add(defined ? ": defined" : ": not defined");
  if (defined && macro.known) {
    add(" as ");
    addDefinition();
  }
  writeLine();
}

void explainOperand() {
  beginDirectiveLine("");
  add(" counts as 0, like every name that is left in a condition");
  writeLine();
}

void explainSkippedFile(const char* path) {
  beginLine(currentFile(), currentLine);
  add(path);
  add(" is not read again: its guard ");
  add(macro.name);
  add(" is defined");
  writeLine();
}

void explainUse(const ExplainedUse& use) {
  beginLine(currentFile(), use.line);
  add(macro.name);
  add(use.arguments);
  add(use.outcome);
  add(use.result);
  if (macro.known) {
    add(" (from ");
    appendBytes(line, macro.place.data, macro.place.length);
    add(")");
  }
  add(use.place);
  if (use.recursive) {
    add("; ");
    add(macro.name);
    add(" in it is not expanded again");
  }
  writeLine();
}
