// Hints, found by another look at the arguments when the run is over.

#include "driver/hints.h"

#include <cstring>
#include <initializer_list>

#include "options/long_options.h"
#include "options/options.h"
#include "platform/files.h"

// The arguments of the run, with those of its response files.
static constinit char** arguments = nullptr;
static constinit int argumentCount = 0;

void keepArguments(char** argv, int argc) {
  arguments = argv;
  argumentCount = argc;
}

// Writes one hint, made of up to five pieces.
static void writeHint(const char* a, const char* b, const char* c = "", const char* d = "",
                      const char* e = "") {
  for (const char* const piece : {"Hint: ", a, b, c, d, e, "\n"})
    (void)writeErrorStream(piece, std::strlen(piece));
}

// True for what is meant as a switch. A hint needs no look at the files: those with a slash may be paths.
static bool looksLikeSwitch(const char* argument) {
  return argument[0] == '-' || argument[0] == '+';
}

// True for a switch that takes a value and has none.
static bool lacksValue(const char* argument) {
  return argument[0] == '-' && argument[1] != 0 && argument[2] == 0 &&
         std::strchr("oInDUL", argument[1]) != nullptr;
}

// The switches before the first file name: a value that stands in a word of its own.
static int checkValues(bool runFailed) {
  int i = 1;
  for (; i < argumentCount && looksLikeSwitch(arguments[i]); ++i) {
    const char* const argument = arguments[i];
    const char* const next = arguments[i + 1];
    if (!lacksValue(argument) || next == nullptr || looksLikeSwitch(next)) continue;
    // The others may be meant so; an output without a name never is.
    if (argument[1] == 'o' || (runFailed && kindOfPath(next) != pathIsFile))
      writeHint(argument, " has no value; it is written in the same word: ", argument, next);
  }
  return i;
}

// The switches after it.
static void checkLateSwitches(int i) {
  for (; i < argumentCount; ++i) {
    const char* const argument = arguments[i];
    if (argument[0] != '-' || argument[1] == 'v' || longOptionNamed(argument) != nullptr) continue;
    writeHint(argument, " is passed over: switches stand in front of the first file name");
    return;
  }
}

static void checkRefusal() {
  for (int i = 1; i < argumentCount; ++i) {
    const LongOptionText* const option = longOptionNamed(arguments[i]);
    if (option == nullptr || option->value == nullptr || std::strchr(arguments[i], '=') != nullptr) continue;
    writeHint("the value of --", option->name, " stands after an equals sign: --", option->name, "=");
    return;
  }
  writeHint("--help", " shows all switches");
}

void writeHints(bool runFailed) {
  if (argumentCount == 0 || !errorStreamIsTerminal()) return;
  if (optionRefused) {
    checkRefusal();
    return;
  }
  checkLateSwitches(checkValues(runFailed));
}
