// The table of warnings: which can be switched by name or number, and whether
// they are on.

#pragma once

#include "base.h"
#include "diag/messages.h"

constexpr int warningCount = 97;

// The working copy: one byte for each warning, in the order of identifiers.
extern Byte warningOn[warningCount];

// Whether a warning is on before any switch.
bool isOnByDefault(MessageId id);

// Sets the defaults as they are before any switch; the start of a run.
void resetWarnings();

// Copies the defaults into warningOn, and back.
void loadWarnings();
void storeWarnings();

// Switches the warnings that `name` begins with on or off: by three letters, by
// four digits, or all of them if it is empty. A name of none changes nothing.
void switchWarnings(const char* name, bool on);
