// Line markers.
//
// The marker of a line is kept as text. advanceLine changes its last digit alone;
// syncLine carries into the other digits or builds the marker anew.

#include "output/line_markers.h"

#include <charconv>
#include <cstring>

#include "diag/position.h"
#include "memory/memory.h"
#include "options/option_image.h"
#include "output/advance_line.h"
#include "output/output.h"

constinit bool lineStart = true;

constexpr size_t syncNameSize = 260;

// The file of the last #line written, as far as it fits.
static constinit char lastSyncName[syncNameSize] = {};

constinit LineMarker lineMarker{};

// What a kept marker has besides the name: the line end, the comment around it and the
// number; and what the last step of a copy reads.
constexpr size_t markerRest = 32 + markerStep;
constexpr size_t markerNameLimit = sizeof lineMarker.text - markerRest;

// The marker form of other tools: what they believe to be the place of the line that is being written.
struct GnuMarkers {
  const char* fileName;  // null before the first marker
  int32_t line;
  char change;  // '1' after the start of a file, '2' after the end of one, 0 otherwise
  GnuFile file;
};
static constinit GnuMarkers gnu = {};

void resetLineMarkers() {
  gnu = {};
  lineStart = true;
  lastSyncName[0] = 0;
  lineMarker.fileName = nullptr;
}

// The markers that have been put aside.
struct MarkersAside {
  bool lineStart;
  char lastSyncName[syncNameSize];
  LineMarker lineMarker;
  GnuMarkers gnu;
};
static constinit MarkersAside aside{};

void setMarkersAside() {
  aside.lineStart = lineStart;
  std::memcpy(aside.lastSyncName, lastSyncName, syncNameSize);
  aside.lineMarker = lineMarker;
  aside.gnu = gnu;
}

void restoreMarkers() {
  lineStart = aside.lineStart;
  std::memcpy(lastSyncName, aside.lastSyncName, syncNameSize);
  lineMarker = aside.lineMarker;
  gnu = aside.gnu;
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
  lineMarker.digit = lineMarker.text[lineMarker.lastDigit];
  std::memcpy(target, ": */", 4);
  lineMarker.length = lineMarker.lastDigit + 5;
  lineMarker.fileName = currentFileName;
  lineMarker.line = currentLine;
  return true;
}

// Makes the kept marker that of the current line, the one after its own, whose last
// digit is 0. False if it has another file, or the number another length.
static bool carryMarker() {
  if (lineMarker.fileName != currentFileName || currentLine <= 0 || lineMarker.line != currentLine - 1 ||
      lineMarker.digit != '9')
    return false;
  Byte* digit = lineMarker.text + lineMarker.lastDigit - 1;
  while (*digit == '9') *digit-- = '0';
  if (!isDigit(*digit)) return false;
  ++*digit;
  lineMarker.text[lineMarker.lastDigit] = lineMarker.digit = '0';
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

// --- The form of other tools ---

GnuFile enterGnuFile(const char* openName, const char* hostName, bool system) {
  const GnuFile includer = gnu.file;
  gnu.file = {openName, memCopy(hostName, std::strlen(hostName)), system, 0};
  // The source file itself is not included.
  gnu.change = gnu.fileName == nullptr ? 0 : '1';
  return includer;
}

void reenterGnuFile(const GnuFile& file) {
  gnu.file = file;
  gnu.change = '2';
}

void restartGnuCount() {
  gnu.file.joinedLines = 0;
}

void noteJoinedLine() {
  ++gnu.file.joinedLines;
}

// Writes a name as a string; what ends one or begins an escape has a backslash in front.
static void emitQuotedName(const char* name) {
  emitChar('"');
  for (; *name != 0; ++name) {
    const Byte c = Byte(*name);
    if (c < ' ' || c == 0x7F) {
      emitChar('\\');
      for (int shift = 6; shift >= 0; shift -= 3) emitChar(Byte('0' + (c >> shift & 7)));
      continue;
    }
    if (c == '"' || c == '\\') emitChar('\\');
    emitChar(c);
  }
  emitChar('"');
}

static void emitLineEnd() {
  emitRun(asBytes("\r\n"), 2);
}

// Ends the line, and tells where the next one stands if that is not just the line after it.
VSP_COLD static void syncGnuLine() {
  const int32_t line = int32_t(uint32_t(currentLine) + uint32_t(gnu.file.joinedLines));
  const bool follows = gnu.change == 0 && gnu.fileName == currentFileName && line == gnu.line + 1;
  gnu.line = line;
  // The marker of an included file stands in the line of its directive, for that is taken for the place.
  if (follows || output.lastChar != '\n') emitLineEnd();
  if (follows) return;
  emitRun(asBytes("# "), 2);
  emitNumber(line);
  emitChar(' ');
  // What #line has given stays as it is.
  emitQuotedName(currentFileName == gnu.file.openName ? gnu.file.hostName : currentFileName);
  if (gnu.change != 0) {
    emitChar(' ');
    emitChar(Byte(gnu.change));
  }
  if (gnu.file.system) emitRun(asBytes(" 3"), 2);
  emitLineEnd();
  gnu.fileName = currentFileName;
  gnu.change = 0;
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
  // In the form of other tools no marker is kept that could be carried on.
  const bool carried = fastPaths && optionImage.lineInfo && !first && carryMarker();
  if (!carried && writesGnuMarkers()) {
    syncGnuLine();
    return;
  }
  if (optionImage.lineInfo) {
    if (carried || (fastPaths && buildMarker())) {
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

// A marker of which ten are kept at once.
constexpr uint32_t shortMarker = 64;

// Puts ten copies of the kept marker into `tens`, with the digits from 0 to 9.
static void copyMarkers(Byte* tens) {
  for (uint32_t i = 0; i < 10; ++i) {
    Byte* const marker = tens + i * lineMarker.length;
    std::memcpy(marker, lineMarker.text, lineMarker.length);
    marker[lineMarker.lastDigit] = Byte('0' + i);
  }
}

// Advances by tens of lines while at least ten are left of `count` and the kept
// marker ends in 9: ten markers are kept as one text, in which only the digits before
// the last change. 15 instructions a line, where one after the other takes 26. Gives
// the number of lines.
static uint32_t advanceByTens(uint32_t count) {
  Byte tens[10 * shortMarker + markerStep];
  const uint32_t length = lineMarker.length;
  uint32_t done = 0;
  while (count - done >= 10 && size_t(output.limit - output.cursor) > 10 * length + markerStep &&
         currentLine < INT32_MAX - 10) {
    ++currentLine;
    if (!carryMarker()) {
      --currentLine;
      lineMarker.fileName = nullptr;
      break;
    }
    const Byte digit = lineMarker.text[lineMarker.lastDigit - 1];
    if (done == 0 || digit == '0')
      copyMarkers(tens);
    else
      for (uint32_t i = 0; i < 10; ++i) tens[i * length + lineMarker.lastDigit - 1] = digit;
    for (uint32_t i = 0; i < 10 * length; i += markerStep)
      std::memcpy(output.cursor + i, tens + i, markerStep);
    output.cursor += 10 * length;
    output.lastChar = '/';
    lineMarker.line = currentLine += 9;
    lineMarker.text[lineMarker.lastDigit] = lineMarker.digit = '9';
    done += 10;
  }
  messageLine = currentLine;
  totalLines += done;
  return done;
}

// True if advanceByTens pays: `count` is large, and the kept marker is one that it
// can go on from.
static bool canAdvanceByTens(uint32_t count) {
  return fastPaths && count >= 30 && lineMarker.digit == '9' && lineMarker.length <= shortMarker &&
         lineMarker.fileName == currentFileName && lineMarker.line == currentLine && !lineStart;
}

void advanceLines(uint32_t count) {
  while (count != 0) {
    if (canAdvanceByTens(count)) count -= advanceByTens(count);
    if (count == 0) break;
    const uint32_t ready = readyMarkers();
    if (ready == 0) {
      advanceLine();
      --count;
      continue;
    }
    // The markers of at most ten lines, so the room can be tested for all at once.
    uint32_t batch = count < ready ? count : ready;
    const size_t room = size_t(output.limit - output.cursor) - markerStep;
    if (batch * size_t{lineMarker.length} >= room) batch = 1;
    count -= batch;
    totalLines += batch;
    currentLine = messageLine = lineMarker.line = currentLine + int32_t(batch);
    Byte* target = output.cursor;
    for (; batch != 0; --batch) target = putNextMarker(target);
    output.cursor = target;
    output.lastChar = '/';
  }
}
