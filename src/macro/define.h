// Macro definitions: #define and #undef, and those of -D at the start of a unit.

#pragma once

#include "base.h"
#include "names/names.h"
#include "record/explain.h"

// Handlers of #define and #undef; `c` is the first significant character after
// the directive's name. May change the input stack.
void defineDirective(Byte c);
void undefDirective(Byte c);

// Reads the name that begins with `c`, already read, into a buffer of its own,
// NUL-terminated; the next call takes the buffer again. `c` becomes the first
// character after the name, consumed. May change the input stack.
Name readMacroName(Byte& c);

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

// Removes the escapes of collected text: what is left is plain bytes. Returns
// the new end, where a NUL stands.
Byte* dropEscapes(Byte* text);

// The text in tokenText without blanks at its ends, NUL-terminated.
struct TrimmedBody {
  Byte* start;
  uint32_t length;
};
TrimmedBody trimBody();

// Defines `name` as an object-like macro; `body` is encoded and ends in 0xFB, 0.
void defineMacroText(const Byte* body, const Byte* name, DefinitionOrigin origin);

// Stores the definitions of -D in the unit's table.
void installCommandDefines();
