// Predefined macros and dynamic names.
//
// The predefined ones are stored by the ordinary route and are ordinary macros
// afterwards. The dynamic names are in no table: their text is made at each use,
// and handed to the scanner as if it had been read.

#include "macro/predefined.h"

#include <charconv>
#include <cstring>

#include "diag/messages.h"
#include "input/frame.h"
#include "macro/define.h"
#include "memory/memory.h"
#include "names/names.h"
#include "options/option_image.h"
#include "output/output.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "scanner/literals.h"
#include "scanner/token_text.h"

static void defineIfAbsent(const Byte* body, const Byte* name) {
  if (!lookupName(name)->isMacro()) defineMacroText(body, name, definedByProgram);
}

void installPredefinedMacros() {
  const OptionImage& options = optionImage;
#define PREDEFINED(name, value, condition) \
  if (condition) defineIfAbsent(asBytes(value "\xFB"), asBytes(name));
#include "macro/predefined.def"
#undef PREDEFINED
}

// --- Dynamic names ---

constinit int64_t compileTime = 0;

// Makes `length` bytes the text that the string reader takes next.
static Byte beginString(const char* text, size_t length) {
  input.pendingText = asBytes(memCopy(text, length));
  return '"';
}

// The name of the current file; what is a separator there is an escape in a
// string, so it is doubled.
static Byte expandFileName() {
  Byte* const start = tokenText.end;
  for (const char* c = currentFileName; *c != 0; ++c) {
    if (*c == '\\') appendLiteralByte('\\');
    appendLiteralByte(Byte(*c));
  }
  const Byte result = beginString(asChars(start), size_t(tokenText.end - start));
  tokenText.release(start);
  return result;
}

static Byte expandLine() {
  char digits[16];
  const std::to_chars_result end = std::to_chars(digits, digits + sizeof digits, currentLine);
  const size_t rest = size_t(end.ptr - digits) - 1;
  if (rest != 0) pushTextCopy(asBytes(digits + 1), rest);
  return Byte(digits[0]);
}

// Writes a number below 100 as two digits, the first one `fill` if it is 0.
static char* putTwoDigits(char* target, int32_t value, char fill) {
  *target++ = value < 10 ? fill : char('0' + value / 10 % 10);
  *target++ = char('0' + value % 10);
  return target;
}

// What __DATE__ and __TIME__ tell: the time of a build that is to come out the same at any time and in any
// place, where the environment gives one in seconds since 1970, or the moment in which the unit started.
static LocalTime timeOfUnit() {
  constexpr int64_t latest = 253402300799;  // the last second of the year 9999
  const char* const text = environmentValue("SOURCE_DATE_EPOCH");
  if (text != nullptr && isDigit(Byte(*text))) {
    int64_t seconds = 0;
    const char* const end = text + std::strlen(text);
    const std::from_chars_result result = std::from_chars(text, end, seconds);
    if (result.ec == std::errc() && result.ptr == end && seconds <= latest) return universalTimeOf(seconds);
  }
  return localTimeOf(compileTime);
}

static Byte expandDate() {
  const LocalTime time = timeOfUnit();
  char text[messageTextLimit + 32];
  loadConsoleMessage(messageTextLimit, text, textMonthJan + time.month);
  char* end = text + std::strlen(text);
  *end++ = ' ';
  end = putTwoDigits(end, time.day, ' ');
  *end++ = ' ';
  end = std::to_chars(end, text + sizeof text, time.year + 1900).ptr;
  return beginString(text, size_t(end - text));
}

static Byte expandTime() {
  const LocalTime time = timeOfUnit();
  char text[16];
  char* end = putTwoDigits(text, time.hour, '0');
  *end++ = ':';
  end = putTwoDigits(end, time.minute, '0');
  *end++ = ':';
  end = putTwoDigits(end, time.second, '0');
  return beginString(text, size_t(end - text));
}

Byte expandDynamicName(DynamicName name) {
  switch (name) {
    case dynamicFile: return expandFileName();
    case dynamicLine: return expandLine();
    case dynamicDate: return expandDate();
    case dynamicTime: return expandTime();
    default: return '1';
  }
}

// --- The list of -Sd ---

void dumpDefinedMacros() {
  size_t count;
  IdentEntry** const macros = listMacros(count);
  for (size_t i = 0; i < count; ++i) {
    emitText("/* define ");
    emitText(asChars(macros[i]->spelling()));
    emitText(" */");
    emitChar('\n');
  }
  memFree(macros);
}
