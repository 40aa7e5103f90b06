// Modifiers of declarators: calling conventions, "__thread", and the words that
// leave a flag, alone or in a __declspec list.

#pragma once

#include "base.h"
#include "expr/types.h"

// What modifier words say about a declarator.
struct DeclModifiers {
  Convention convention;
  bool isThread;
  uint16_t flags;  // FunctionFlag bits
};

// Reads a run of modifier words into `modifiers`; may be empty. The first token
// that is none becomes current. May change the input stack.
void readModifiers(DeclModifiers& modifiers);
