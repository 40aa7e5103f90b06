// The definitions of -D and -U, which last for the run.

#pragma once

#include "base.h"

// One definition.
struct CommandDefine {
  CommandDefine* next;         // in the order of the switches
  CommandDefine* previous;     // null in the first one
  CommandDefine* nextInChain;  // of those with one place in the store
  uint32_t hash;               // of the name
  uint32_t nameLength;
  size_t valueLength;
  const char* value;  // as written
  const char* name;
};

// All definitions, in the order of the switches.
extern CommandDefine* commandDefines;

// The text of -D, "name", "name=value" or several of them with ';' between, and
// the name of -U.
void addCommandDefine(const char* text);
void removeCommandDefine(const char* name);

// Adds one definition; a name that is there already keeps its value, with a
// warning if the values differ. `name` and `value` are not NUL-terminated.
void addDefine(const char* name, size_t nameLength, const char* value, size_t valueLength);

// Forgets all definitions; the start of a run.
void clearCommandDefines();
