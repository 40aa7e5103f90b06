// The output sink.
//
// Plain output to a file goes through the inline fast path into the buffer. The
// last byte of the buffer, the console and the readable mode come here.

#include "driver/output.h"

#include <cstring>

#include "diag/report.h"
#include "driver/unit.h"
#include "input/frame.h"
#include "macro/predefined.h"
#include "memory/memory.h"
#include "options/option_image.h"
#include "platform/files.h"
#include "platform/paths.h"

constinit Output output{-1, false, nullptr, nullptr, nullptr, '\n', 0, 0};

// In readable mode a piece of text goes to the next line behind this many characters.
constexpr uint32_t wrapLength = 150;

static bool isReadable() {
  return (optionImage.outputFlags & readableFlag) != 0;
}

// Writes the whole buffer to the file.
static void writeBuffer() {
  const bool written = writeFile(output.handle, output.buffer, outputBufferSize);
  output.cursor = output.buffer;
  if (!isReadable())
    output.limit = output.buffer + outputBufferSize - 1;
  else
    output.limit = output.cursor;
  if (!written) reportFatal(msgWriteFailed);
}

// Prints to the console; what cannot be written ends the unit like a full disk.
static void printOutput(const Byte* text, size_t length) {
  if (!writeConsole(asChars(text), length)) reportFatal(msgWriteFailed);
}

// Stores a byte that has passed the filter.
static void storeByte(Byte c) {
  output.lastChar = c;
  if (output.toConsole) {
    printOutput(&c, 1);
  } else if (output.buffer != nullptr) {
    *output.cursor++ = c;
    if (output.cursor == output.buffer + outputBufferSize) {
      writeBuffer();
    } else if (isReadable()) {
      output.limit = output.cursor;
    }
  }
}

// The readable filter: drops empty lines, holds back the blanks of a line's
// start until something follows, and measures the line. True if `c` is to be
// written.
static bool passReadable(Byte c) {
  if (isLineEnd(c)) output.lineLength = 0;
  if (output.lastChar == '\r' && c == '\r') return false;
  if (output.lastChar == '\n' && isLineEnd(c)) {
    output.pendingBlanks = 0;
    return false;
  }
  if (output.lastChar == '\n' && (c == ' ' || c == '\t')) {
    ++output.pendingBlanks;
    return false;
  }
  uint32_t blanks = output.pendingBlanks;
  output.lineLength += blanks + 1;
  if (blanks != 0) {
    output.pendingBlanks = 0;
    output.lastChar = 0;
    for (; blanks != 0; --blanks) emitChar(' ');
  }
  return true;
}

void emitCharSlow(Byte c) {
  if (!isReadable() || passReadable(c)) storeByte(c);
}

void emitRunSlow(const Byte* text, size_t length) {
  if (length == 0) return;
  if (!fastPaths || isReadable()) {
    for (size_t i = 0; i < length; ++i) emitCharSlow(text[i]);
    return;
  }
  if (output.toConsole) {
    output.lastChar = text[length - 1];
    printOutput(text, length);
    return;
  }
  output.lastChar = text[length - 1];
  if (output.buffer == nullptr) return;
  while (length != 0) {
    const size_t room = size_t(output.buffer + outputBufferSize - output.cursor);
    const size_t part = length < room ? length : room;
    std::memcpy(output.cursor, text, part);
    output.cursor += part;
    text += part;
    length -= part;
    if (part == room) writeBuffer();
  }
}

// A piece of text on the console: it goes there as it stands, behind the blanks
// held back.
static void printPiece(const Byte* text, size_t length) {
  if (isReadable()) {
    output.lineLength += uint32_t(length) + output.pendingBlanks;
    for (; output.pendingBlanks != 0; --output.pendingBlanks) printOutput(asBytes(" "), 1);
  }
  output.lastChar = text[length - 1];
  printOutput(text, length);
}

void emitTextSlow(const Byte* text, size_t length) {
  if (length == 0) return;
  if (isReadable() && output.lineLength > wrapLength) {
    emitChar('\r');
    emitChar('\n');
    emitChar('\t');
  }
  if (output.toConsole)
    printPiece(text, length);
  else
    emitRunSlow(text, length);
}

void emitText(const char* text) {
  emitText(asBytes(text), std::strlen(text));
}

// --- Opening and closing ---

// The names that mean the console.
static bool isConsoleOutput(const char* name) {
  return sameFileName(name, "con.") || sameFileName(name, "con.i") || sameFileName(name, "conout$.") ||
         sameFileName(name, "conout$.i");
}

// Creates the file, giving up handles of the input stack while there are none.
static int createOutput(const char* name) {
  for (;;) {
    const int handle = createFile(name);
    if (handle != openTooManyFiles || !suspendFile()) return handle;
  }
}

// Opens the sink. False if the file cannot be created.
static bool openOutput(const char* name) {
  output = Output{-1, false, nullptr, nullptr, nullptr, '\n', 0, 0};
  if (isConsoleOutput(name)) {
    output.toConsole = true;
    output.handle = consoleMark;
    return true;
  }
  const int handle = createOutput(name);
  if (handle < 0) return false;
  output.handle = handle;
  output.buffer = static_cast<Byte*>(memAlloc(outputBufferSize));
  output.cursor = output.buffer;
  output.limit = isReadable() ? output.cursor : output.buffer + outputBufferSize - 1;
  return true;
}

// The output's name: that of -o, or the source's in the directory of -n.
static const char* outputNameOf(const char* sourcePath) {
  if (optionImage.outputFile != nullptr && optionImage.viaAssembler == 0)
    return memCopy(optionImage.outputFile, std::strlen(optionImage.outputFile));
  const PathParts parts = splitPath(sourcePath);
  const char* const directory = optionImage.outputDirectory == nullptr ? "" : optionImage.outputDirectory;
  const size_t directoryLength = std::strlen(directory);
  const size_t baseLength = parts.extension - parts.nameStart;
  char* const name = static_cast<char*>(memAlloc(uint32_t(directoryLength + 1 + baseLength + 3)));
  char* target = name;
  for (size_t i = 0; i < directoryLength; ++i) *target++ = char(foldCase(Byte(directory[i])));
  if (directoryLength != 0 && !endsInSeparator(name, directoryLength)) *target++ = '\\';
  std::memcpy(target, sourcePath + parts.nameStart, baseLength);
  std::memcpy(target + baseLength, ".i", 3);
  return name;
}

void nameOutput(const char* sourcePath) {
  const char* const name = outputNameOf(sourcePath);
  if (!openOutput(name)) reportFatal(msgCannotCreateOutput, name);
  if (optionImage.showDefines != 0) dumpDefinedMacros();
}

void ensureOutputOpen() {
  if (optionStage == stageTokens) return;
  optionStage = stageTokens;
  nameOutput(sourceNames->name);
}

// Forgets the buffer, so that what is still written goes nowhere.
static void dropBuffer() {
  Byte* const buffer = output.buffer;
  output.buffer = output.cursor = output.limit = nullptr;
  memFree(buffer);
}

void closeOutput() {
  if (output.handle < 0) return;
  if (output.toConsole) {
    output.toConsole = false;
    output.handle = -1;
    return;
  }
  const size_t rest = size_t(output.cursor - output.buffer);
  const bool written = rest == 0 || writeFile(output.handle, output.buffer, rest);
  dropBuffer();
  closeFile(output.handle);
  output.handle = -1;
  if (written) {
    keepCreatedFile();
    return;
  }
  removeCreatedFile();
  reportFatal(msgWriteFailed);
}

void removeOutput() {
  // The platform knows the file from the moment that it exists, which is earlier
  // than the handle stands here.
  const int handle = output.handle;
  output.handle = -1;
  if (handle >= 0 && !output.toConsole) closeFile(handle);
  output.toConsole = false;
  removeCreatedFile();
}

void abandonOutput() {
  const bool isFile = output.handle >= 0 && !output.toConsole;
  if (isFile) dropBuffer();
  removeOutput();
}
