// Line markers.
//
// The marker of a line is kept as text. When the next line is the next number of
// the same file, which advanceLine handles, only its digits change; syncLine does
// the rest.

#include "output/line_markers.h"

#include <charconv>
#include <cstring>

#include "diag/position.h"
#include "options/option_image.h"
#include "output/output.h"

constinit bool lineStart = true;

constexpr size_t syncNameSize = 260;

// The file of the last #line written, as far as it fits.
static constinit char lastSyncName[syncNameSize] = {};

constinit LineMarker lineMarker{};

constexpr size_t markerNameLimit = sizeof lineMarker.text - 32;

void resetLineMarkers() {
  lineStart = true;
  lastSyncName[0] = 0;
  lineMarker.fileName = nullptr;
}

static void emitNumber(int32_t value) {
  char digits[16] = {};
  const char* const end = std::to_chars(digits, digits + sizeof digits, value).ptr;
  for (const char* digit = digits; digit != end; ++digit) emitChar(Byte(*digit));
}

// Builds the marker of the current line anew. False if it cannot be kept.
VSP_COLD static bool buildMarker() {
  const size_t nameLength = std::strlen(currentFileName);
  if (nameLength > markerNameLimit) return false;
  char* target = reinterpret_cast<char*>(lineMarker.text);
  std::memcpy(target, "\r\n/* ", 5);
  target += 5;
  std::memcpy(target, currentFileName, nameLength);
  target += nameLength;
  *target++ = ' ';
  target = std::to_chars(target, target + 16, currentLine).ptr;
  lineMarker.lastDigit = uint32_t(reinterpret_cast<Byte*>(target) - lineMarker.text - 1);
  std::memcpy(target, ": */", 4);
  lineMarker.length = lineMarker.lastDigit + 5;
  lineMarker.fileName = currentFileName;
  lineMarker.line = currentLine;
  return true;
}

// The comment form of the marker, where the kept text does not serve.
VSP_COLD static void emitMarkerSlow() {
  emitRun(asBytes("/* "), 3);
  emitRun(asBytes(currentFileName), std::strlen(currentFileName));
  emitChar(' ');
  emitNumber(currentLine);
  emitRun(asBytes(": */"), 4);
}

// The #line form, written when the file has changed.
static void emitLineDirective() {
  if (std::strncmp(currentFileName, lastSyncName, syncNameSize - 1) == 0) return;
  std::strncpy(lastSyncName, currentFileName, syncNameSize - 1);
  emitRun(asBytes("#line "), 6);
  emitNumber(currentLine);
  emitRun(asBytes(" \""), 2);
  emitRun(asBytes(currentFileName), std::strlen(currentFileName));
  emitRun(asBytes("\"\r\n"), 3);
}

void syncLine() {
  const bool readable = (optionImage.outputFlags & readableFlag) != 0;
  const bool first = lineStart;
  lineStart = false;
  if (readable) {
    if (!first && output.lastChar != '\n') {
      emitChar('\r');
      emitChar('\n');
    }
    output.pendingBlanks = 0;
    return;
  }
  if (optionImage.lineInfo) {
    if (fastPaths && buildMarker()) {
      const uint32_t skip = first ? 2 : 0;
      emitRun(lineMarker.text + skip, lineMarker.length - skip);
    } else {
      if (!first) emitRun(asBytes("\r\n"), 2);
      emitMarkerSlow();
    }
    return;
  }
  if (!first) emitRun(asBytes("\r\n"), 2);
  emitLineDirective();
}
