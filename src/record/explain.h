// The history of one macro, told on standard error while a unit is read: each line names the place and says
// what became of the macro there.

#pragma once

#include <string_view>

#include "base.h"

// Whether a macro is explained; the hooks are called only then.
extern bool explaining;

// Where a definition comes from.
enum DefinitionOrigin : Byte { definedInSource, definedOnCommandLine, definedByProgram };

// A unit begins, in which the first `nameLimit` characters of a name count; `name` lasts as long as the unit.
void beginExplainedUnit(const char* path, const char* name, uint32_t nameLimit);

// The unit ends, also by a fatal error: says so if there was nothing to tell.
void endExplainedUnit();

// True for the name that is explained.
bool isExplained(const Byte* name, size_t length);

// A definition: its parameters with their parentheses, empty for a macro without, and its text. `repeated`
// if the macro is there already and stays what it was.
void explainDefinition(DefinitionOrigin origin, std::string_view parameters, std::string_view text,
                       bool repeated);

void explainUndefinition(bool wasMacro);

// A condition asks whether the macro is defined; `directive` says how.
void explainQuestion(const char* directive, bool defined);

// A condition in which the name is left as an operand, since it is no macro or no call.
void explainOperand();

// A file that is not read again since the macro guards it.
void explainSkippedFile(const char* path);

// A use of the macro in the line `line`.
struct ExplainedUse {
  int32_t line;
  std::string_view arguments;  // with their parentheses, empty for a use without
  std::string_view outcome;    // what becomes of it
  std::string_view result;     // the text after that; empty for nothing to show
  std::string_view place;      // where in the line, empty for the plain text
  bool recursive;              // the result holds the name, which stands
};
void explainUse(const ExplainedUse& use);
