// Reading of switches: the tables of all forms, and the order of their sources.

#pragma once

#include "base.h"
#include "diag/messages.h"
#include "options/option_image.h"

// Where a switch comes from, for the two that act early.
enum OptionPhase : int {
  firstLook = -1,  // command line before the configuration file: -I and -L only
  secondLook = 0,  // command line after it, and -v among the file names: all others
  configPhase = 1  // configuration file: all
};

// The extension that a source name without one gets: a dot, up to three
// characters, a NUL.
extern char defaultExtension[5];

// Applies one switch, given without its leading '-' or '/'. False if refused.
bool parseOption(OptionPhase phase, const char* text);

// Reads all switches at start-up, in their order: the two looks at the command
// line and the configuration file between them. A refused switch ends the
// process with a message and status 1.
void optionBootstrap(char** argv, int argc);

// True for an argument that is a switch or names a configuration file, in the
// run of arguments before the first file name. An existing file whose
// absolute path begins with '/' is a file name.
bool isSwitchArgument(const char* argument);

// True for an argument after the first file name that is a switch.
bool isLateSwitch(const char* argument);

// True if an argument or a word of the configuration file has been refused in this run.
extern bool optionRefused;

// Reports E2075 for `text` with the source's name and ends the process with
// status 1.
[[noreturn]] void refuseOption(MessageId source, const char* text);
