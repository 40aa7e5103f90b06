// The line appears when a run turns out to be long, and changes a few times a second.

#include "driver/progress.h"

#include <charconv>
#include <cstring>

#include "options/long_options.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "platform/status_line.h"

constexpr uint32_t manyUnits = 20;            // as many are shown at once
constexpr int64_t longTime = 1'000'000'000;   // after which fewer are too, in nanoseconds
constexpr int64_t shortestTime = 50'000'000;  // between two changes

static constinit uint32_t unitCount = 0;  // of the run; 0 while no line may be shown
static constinit int64_t startTime = 0;   // of the run, by steadyTime
static constinit int64_t shownTime = 0;   // when the line changed last, 0 for never

bool mayShowProgress() {
  // The explanation of a macro goes to the same place.
  return errorStreamIsTerminal() && !consoleIsTerminal() && longOptions.explainName == nullptr;
}

void beginProgress(uint32_t count) {
  unitCount = count;
  shownTime = 0;
  if (count != 0) startTime = steadyTime();
}

void showProgress(uint32_t number, const char* path) {
  if (unitCount < 2) return;
  const int64_t now = steadyTime();
  if (unitCount < manyUnits && now - startTime < longTime) return;
  if (now - shownTime < shortestTime) return;
  shownTime = now;
  constexpr size_t mostDigits = 10;
  char text[256];
  char* const end = text + sizeof text;
  char* target = text;
  *target++ = '[';
  target = std::to_chars(target, target + mostDigits, number).ptr;
  *target++ = '/';
  // Patterns may find more files than they did at the start.
  target = std::to_chars(target, target + mostDigits, number < unitCount ? unitCount : number).ptr;
  *target++ = ']';
  *target++ = ' ';
  const size_t length = std::strlen(path);
  const size_t part = length < size_t(end - target) ? length : size_t(end - target);
  std::memcpy(target, path, part);
  showStatusLine(text, size_t(target - text) + part);
}
