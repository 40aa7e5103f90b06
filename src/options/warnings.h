// The table of warnings: which can be switched by name or number, and whether
// they are on.

#pragma once

#include "base.h"
#include "diag/messages.h"

constexpr int warningCount = 97;

// The working copy: one byte for each warning, in the order of identifiers.
extern Byte warningOn[warningCount];

// Sets the defaults as they are before any switch; the start of a run.
void resetWarnings();

// Copies the defaults into warningOn, and back.
void loadWarnings();
void storeWarnings();

// The switch -w: `text` is what stands behind it. False if refused.
bool warningSwitch(const char* text);
