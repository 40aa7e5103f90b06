// Macro definitions: #define and #undef, and the definitions of the command line.

#pragma once

#include "base.h"

struct IdentEntry;

// Handlers of #define and #undef; `c` is the first significant character behind
// the directive's name. May change the input stack.
void defineDirective(Byte c);
void undefDirective(Byte c);

// The name that readMacroName read last, NUL-terminated.
constexpr size_t macroNameSize = 256;
extern Byte macroNameBuffer[macroNameSize];

// Reads a name that begins with `c` into macroNameBuffer, with its hash and
// length. Returns the first character behind the name, already consumed.
Byte readMacroName(Byte c);

// 1 to 6 for __STDC__, __FILE__, __LINE__, __DATE__, __TIME__ and __cplusplus
// where they are dynamic names, else 0.
int reservedNameIndex(const Byte* name, uint32_t length);

// A parameter of the definition being read; the list holds the last one first.
struct ParameterNode {
  ParameterNode* next;
  uint32_t hash;
  uint32_t length;
  Byte name[1];  // the rest of the name follows, NUL-terminated
};

// Collects the rest of the line into tokenText by driving the scanner: a
// function-like body, or with `expand` a directive's line with macros expanded.
void readBodyTokens(const ParameterNode* parameters, bool expand);

// Takes the escapes of collected text out: what is left is plain bytes. Returns
// the new end, where a NUL stands.
Byte* dropEscapes(Byte* text);

// The text in tokenText without blanks at its ends, NUL-terminated.
struct TrimmedBody {
  Byte* start;
  uint32_t length;
};
TrimmedBody trimBody();

// Defines `name` as an object-like macro; `body` is encoded and ends in 0xFB, 0.
void defineMacroText(const Byte* body, const Byte* name);

// The switches -D and -U, and the definitions they leave, which last for the run.
void addCommandDefine(const char* text);
void removeCommandDefine(const char* name);

// Adds one definition; a name that is there already keeps its value, with a
// warning if the values differ. `name` and `value` are not NUL-terminated.
void addDefine(const char* name, size_t nameLength, const char* value, size_t valueLength);

// Forgets them; the start of a run.
void clearCommandDefines();

// Stores the command line's definitions in the unit's table.
void installCommandDefines();
