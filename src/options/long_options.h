// The long switches, --name and --name=value.
//
// They are no part of the compiler's own switches: they may stand anywhere among the arguments and in
// response files, and are taken out before anything else looks at these.

#pragma once

#include "base.h"
#include "diag/message_forms.h"

enum MarkerForm : Byte {
  familyMarkers,  // comments or #line lines, as the other switches say
  gnuMarkers      // # 12 "file" 1
};

// --messages: a form, for SARIF with the file of the log, null for standard error.
struct MessageChoice {
  MessageForm form;
  const char* file;
};

constexpr int32_t jobsNotGiven = -1;

struct LongOptions {
  bool help;
  bool version;
  int32_t jobs = jobsNotGiven;   // 0 for as many as there are processors
  const char* stdinName;         // of the unit on standard input; null: there is none
  MarkerForm lineMarkers;        //
  MessageChoice messages;        //
  const char* depsFile;          // null: no dependencies are written
  const char* depsTarget;        // null: each unit's output
  bool depsPhony;                //
  const char* traceFile;         // null: no trace
  const char* includeGraphFile;  // null: no graph
  const char* explainName;       // null: nothing is explained
};

// Valid for the run, from takeLongOptions on; the defaults before.
extern LongOptions longOptions;

// Puts the defaults in force; the start of a run.
void resetLongOptions();

// Takes the long switches out of the arguments: `argv` and `argc` are replaced if there was any. Unknown ones
// stay. A known one with a missing, wrong or superfluous value ends the run with E2075.
void takeLongOptions(char**& argv, int& argc);

// True if the flag `name` stands among the arguments as they are; before takeLongOptions.
bool hasLongFlag(const char* name, char* const* argv, int argc);

// One row of the list, for those that show it.
struct LongOptionText {
  const char* name;   // without its "--"
  const char* value;  // null: takes none
  const char* help;
};

// The row that `argument` names, with its dashes and any value; null if it is no long switch.
const LongOptionText* longOptionNamed(const char* argument);

// The row number `index`, from 0 on; null after the last one.
const LongOptionText* longOptionText(size_t index);
