// What the switches do.
//
// Most switches write one field of OptionImage, which their row names; the others
// have a handler of their own. A number in a switch is read as far as
// its digits go. A value that doesn't fit 32 bits stops at the largest, so it is
// out of every range that is checked.

#include "options/handlers.h"

#include <cstring>

#include "diag/report.h"
#include "diag/warnings.h"
#include "memory/memory.h"
#include "options/defines.h"
#include "options/lead_bytes.h"
#include "options/option_image.h"
#include "options/options.h"
#include "options/search_lists.h"

// Stores a number into the field of a row, a flag or a byte.
static void storeValue(const OptionRow& row, uint32_t value) {
  if (row.field.kind == OptionField::flag)
    row.field.flagOf(optionImage) = value != 0;
  else
    row.field.numberOf(optionImage) = Byte(value);
}

// The decimal number at the start of `text`.
static uint32_t readDecimal(const char* text) {
  uint64_t number = 0;
  for (; isDigit(Byte(*text)) && number <= UINT32_MAX; ++text) number = number * 10 + uint32_t(*text - '0');
  return number <= UINT32_MAX ? uint32_t(number) : UINT32_MAX;
}

// Reads the sign of a flag: "" and "+" are on, "-" is off. False for anything else.
static bool readSign(const char* rest, bool& on) {
  on = *rest != '-';
  return *rest == 0 || *rest == '+' || *rest == '-';
}

bool flagSwitch(const char* rest, const OptionRow& row) {
  bool on;
  if (!readSign(rest, on)) return false;
  row.field.flagOf(optionImage) = on;
  return *rest == 0 || rest[1] == 0;
}

bool inverseFlag(const char* rest, const OptionRow& row) {
  bool on;
  if (!readSign(rest, on)) return false;
  row.field.flagOf(optionImage) = !on;
  return true;
}

bool setValue(const char*, const OptionRow& row) {
  storeValue(row, row.value);
  return true;
}

bool setOnly(const char* rest, const OptionRow& row) {
  storeValue(row, row.value);
  return *rest == 0;
}

bool accept(const char*, const OptionRow&) {
  return true;
}

bool acceptOnly(const char* rest, const OptionRow&) {
  return *rest == 0;
}

bool subTable(const char* rest, const OptionRow& row) {
  return parseTable(rest, row.table);
}

// Length of the quote at the start of `text`: 2 with a backslash before it, 0
// if there is none.
static size_t quoteLength(const char* text) {
  if (text[0] == '"') return 1;
  return text[0] == '\\' && text[1] == '"' ? 2 : 0;
}

bool copyText(const char* rest, const OptionRow& row) {
  const size_t length = std::strlen(rest);
  const size_t open = quoteLength(rest);
  size_t close = 0;
  if (length > open && rest[length - 1] == '"') close = length - open > 1 && rest[length - 2] == '\\' ? 2 : 1;
  const bool quoted = open != 0 && close != 0;
  row.field.textOf(optionImage) =
      quoted ? permCopy(rest + open, length - open - close) : permCopy(rest, length);
  return true;
}

bool stripQuotes(const char* rest, const OptionRow& row) {
  char* const text = permCopy(rest, std::strlen(rest));
  char* to = text;
  for (const char* from = text; *from != 0; ++from)
    if (*from != '"') *to++ = *from;
  *to = 0;
  row.field.textOf(optionImage) = text;
  return true;
}

// -g and -j: a limit, or with "b" the bit `stopFlag` of the batch flags.
static bool readLimit(const char* rest, BatchFlag stopFlag, Byte& limit) {
  if (std::strcmp(rest, "b") == 0) {
    optionImage.batchFlags |= stopFlag;
    return true;
  }
  const uint32_t number = readDecimal(rest);
  if (!isDigit(Byte(*rest)) || number > UINT8_MAX) {
    reportError(msgLimitRange);
    return false;
  }
  limit = Byte(number);
  return true;
}

bool errorLimitSwitch(const char* rest, const OptionRow&) {
  return readLimit(rest, stopOnErrorFlag, messageLimits.errors);
}

bool warningLimitSwitch(const char* rest, const OptionRow&) {
  return readLimit(rest, stopOnWarningFlag, messageLimits.warnings);
}

bool identSwitch(const char* rest, const OptionRow& row) {
  constexpr uint32_t shortest = 8;
  if (std::strcmp(rest, "dl") == 0) {
    optionImage.outputFlags |= idlFlag;
    return true;
  }
  if (!isDigit(Byte(*rest))) return false;
  uint32_t length = readDecimal(rest);
  if (length == 0) length = defaultIdentLimit;
  if (length < shortest || length > defaultIdentLimit) return false;
  row.field.numberOf(optionImage) = Byte(length);
  return true;
}

bool codePageSwitch(const char* rest, const OptionRow&) {
  if (!isDigit(Byte(*rest))) return false;
  optionImage.codePage = readDecimal(rest);
  buildLeadByteTable();
  return true;
}

bool outputSwitch(const char* rest, const OptionRow&) {
  switch (*rest) {
    case 0: optionImage.lineInfo = true; return true;
    case '-': optionImage.lineInfo = false; break;
    case 'c': optionImage.outputFlags |= keepCommentsFlag; break;
    case 'r': optionImage.outputFlags |= readableFlag; break;
    case 's': optionImage.outputFlags |= headerStatisticsFlag; break;
    case 'g': optionImage.outputFlags |= guardDetailsFlag; break;
    case 'd': optionImage.showDefines = true; break;
    case 'k': optionImage.keepOutput = true; break;
    case '.': return false;
    default: break;
  }
  return rest[1] == 0;
}

bool extensionSwitch(const char* rest, const OptionRow&) {
  if (*rest == 0 || std::strcmp(rest, "-") == 0) {
    optionImage.lineInfo = *rest == 0;
    return true;
  }
  optionImage.forceCplusplus = *rest != '-';
  if (*rest == '-') ++rest;
  if (*rest == '.') ++rest;
  if (*rest == 0) {
    // A bare dot restores the state at the start of a unit; there is none yet.
    optionImage.lineInfo = optionSave.lineInfo;
    return true;
  }
  char* to = defaultExtension + 1;
  while (*rest != 0 && to < defaultExtension + sizeof defaultExtension - 1) *to++ = *rest++;
  *to = 0;
  return true;
}

bool defineSwitch(const char* rest, const OptionRow&) {
  addCommandDefine(rest);
  return true;
}

bool undefineSwitch(const char* rest, const OptionRow&) {
  removeCommandDefine(rest);
  return true;
}

bool includeSwitch(const char* rest, const OptionRow&) {
  optionImage.includeGiven = true;
  addDirs(includeDirs, rest);
  return true;
}

bool librarySwitch(const char* rest, const OptionRow&) {
  addDirs(libraryDirs, rest);
  return true;
}

// Reads a run of the letters R and V, each at most once: the libraries that the
// program is linked with.
static bool readRuntimeLetters(const char* letters) {
  Byte seen = 0;
  for (; *letters != 0; ++letters) {
    if (*letters != 'R' && *letters != 'V') return false;
    const Byte flag = *letters == 'R' ? runtimeLibraryFlag : visualLibraryFlag;
    if ((seen & flag) != 0) return false;
    seen |= flag;
  }
  optionImage.packageFlags |= seen;
  if ((seen & runtimeLibraryFlag) != 0) addDefine("_RTLDLL", std::strlen("_RTLDLL"), "", 0);
  return true;
}

// The letter of a row stands right before the rest.
bool runtimeLetters(const char* rest, const OptionRow&) {
  return readRuntimeLetters(rest - 1);
}

bool windowsLetters(const char* rest, const OptionRow&) {
  if (!readRuntimeLetters(rest - 1)) return false;
  if (optionImage.appKind == 0) optionImage.appKind = 1;
  return true;
}

bool packageSwitch(const char* rest, const OptionRow&) {
  optionImage.packageFlags |= visualLibraryFlag | packageFlag;
  if (!readRuntimeLetters(rest)) return false;
  if (optionImage.appKind == 0) optionImage.appKind = 1;
  return true;
}

bool obsoleteSwitch(const char*, const OptionRow&) {
  char text[messageTextLimit];
  const uint32_t kept = messageCount;
  reportWarning(warnText, loadConsoleMessage(sizeof text, text, textXdgObsolete));
  // The remark about the switch is no message of a source file.
  messageCount = kept;
  return true;
}

bool oldObjectSwitch(const char* rest, const OptionRow&) {
  bool on;
  if (!readSign(rest, on) || (*rest != 0 && rest[1] != 0)) return false;
  std::memset(optionImage.stored.oldObjects, on, sizeof optionImage.stored.oldObjects);
  return true;
}

bool memoryWardSwitch(const char*, const OptionRow& row) {
  for (uint32_t i = 0; i < sizeof optionImage.memWardFlags; ++i) optionImage.memWardFlags[i] = i < row.value;
  return true;
}

bool debugSwitch(const char* rest, const OptionRow& row) {
  std::memset(optionImage.stored.debugInfo, int(row.value), sizeof optionImage.stored.debugInfo);
  return *rest == 0;
}

// -w! and -w!-: whether a warning fails the run.
static bool failSwitch(const char* rest) {
  const bool off = *rest == '-';
  if (off) ++rest;
  if (*rest != 0) return false;
  if (off)
    optionImage.batchFlags &= Byte(~failOnWarningFlag);
  else
    optionImage.batchFlags |= failOnWarningFlag;
  return true;
}

bool warningsSwitch(const char* rest, const OptionRow&) {
  if (*rest == '!') return failSwitch(rest + 1);
  if (*rest == '.') return false;
  const bool on = *rest != '-';
  if (*rest == '-' || *rest == '+') ++rest;
  switchWarnings(rest, on);
  return true;
}
