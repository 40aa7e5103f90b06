// The output sink.
//
// Plain output to a file goes through the inline fast path into the buffer. The
// last byte of the buffer, the console and the readable mode come here.

#include "output/output.h"

#include <cstring>

#include "diag/report.h"
#include "memory/memory.h"
#include "options/option_image.h"
#include "platform/files.h"
#include "platform/output_file.h"

// A sink into which nothing goes.
constexpr Output closedOutput = {.handle = -1,
                                 .toConsole = false,
                                 .buffer = nullptr,
                                 .cursor = nullptr,
                                 .limit = nullptr,
                                 .lastChar = '\n',
                                 .pendingBlanks = 0,
                                 .lineLength = 0,
                                 .name = nullptr};

constinit Output output = closedOutput;

// In readable mode a piece of text goes to the next line after this many characters.
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

// A piece of text on the console: it goes there as it stands, after the blanks
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

void openOutputFile(int handle, const char* name) {
  output = closedOutput;
  output.handle = handle;
  output.name = name;
  output.buffer = static_cast<Byte*>(memAlloc(outputBufferSize));
  output.cursor = output.buffer;
  output.limit = isReadable() ? output.cursor : output.buffer + outputBufferSize - 1;
}

void openOutputConsole() {
  output = closedOutput;
  output.toConsole = true;
}

// Forgets the buffer, so that what is still written goes nowhere.
static void dropBuffer() {
  Byte* const buffer = output.buffer;
  output.buffer = output.cursor = output.limit = nullptr;
  memFree(buffer);
}

void closeOutput() {
  output.toConsole = false;
  if (output.handle < 0) return;
  const size_t rest = size_t(output.cursor - output.buffer);
  const bool written = rest == 0 || writeFile(output.handle, output.buffer, rest);
  dropBuffer();
  const int handle = output.handle;
  output.handle = -1;
  FinishResult result = finishNotWritten;
  if (written)
    result = finishCreatedFile(handle);
  else
    closeFile(handle);
  if (result == finishDone) return;
  removeCreatedFile();
  if (result == finishRefused)
    reportFatal(msgCannotCreateOutput, output.name);
  else
    reportFatal(msgWriteFailed);
}

void removeOutput() {
  // The platform knows the file from the moment that it exists, which is earlier
  // than the handle stands here.
  const int handle = output.handle;
  output.handle = -1;
  if (handle >= 0) closeFile(handle);
  output.toConsole = false;
  removeCreatedFile();
}

void abandonOutput() {
  if (output.handle >= 0) dropBuffer();
  removeOutput();
}
