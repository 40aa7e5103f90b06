// The input stack: pushing, popping, refilling, and the count of lines.
//
// Everything here is the slow side of nextChar. A file is read in blocks into
// its own frame; when it ends, the buffer is given the text "line feed, Ctrl-Z",
// so every file ends in a line end and then in the end-of-text byte, whether or
// not its last line has one. In the same way every file begins with a line feed
// pushed before it, which puts its first line after a line end, where the
// scanner looks for directives.

#include "input/frame.h"

#include <cstring>
#include <new>

#include "diag/report.h"
#include "input/cond_stack.h"
#include "input/guard.h"
#include "input/include_search.h"
#include "input/macro_frames.h"
#include "memory/memory.h"
#include "options/option_image.h"
#include "output/advance_line.h"
#include "platform/files.h"
#include "record/files.h"

constinit InputState input = {};

// What is read after the end of all input. The NUL is the byte at the limit.
static const Byte endOfTextString[] = {'\n', endOfTextByte, 0};

// What a file delivers before its first byte.
static const Byte newFileString[] = {'\n', 0};

static FileFrame* asFile(InputFrame* frame) {
  return static_cast<FileFrame*>(frame);
}

// The block of `frame` is about to be replaced: its last byte stays, in front.
static void keepLastByte(FileFrame* frame) {
  if (frame->length != 0) frame->storage()[-1] = frame->storage()[frame->length - 1];
}

// Makes the first `count` bytes of the buffer what `frame` delivers, and takes
// the first of them.
static Byte beginBlock(FileFrame* frame, uint32_t count) {
  Byte* const storage = frame->storage();
  storage[count] = 0;
  frame->length = count;
  input.cursor = storage + 1;
  input.limit = storage + count;
  return storage[0];
}

// What a file delivers after its last byte: a line end and the end of text.
static Byte endFile(FileFrame* frame) {
  keepLastByte(frame);
  frame->ended = true;
  frame->storage()[0] = '\n';
  frame->storage()[1] = endOfTextByte;
  return beginBlock(frame, 2);
}

// Ends the unit because of a file whose text can't be read to its end.
static void failUnreadable(const FileFrame* frame) {
  // At a file's first byte this is still the line of the #include.
  messageLine = currentLine;
  reportFatal(msgCannotOpenInput, frame->openName);
}

// Opens a suspended file again at the byte after the block in memory. If it has
// gone, or no handle is to be had, text would be lost without a word: the unit ends.
static void resumeFile(FileFrame* frame) {
  const int handle = openSourceFile(frame->openName);
  if (handle < 0) {
    failUnreadable(frame);
    return;
  }
  frame->handle = handle;
  frame->kind = frameFile;
  if (!seekFile(handle, frame->bytesBefore + frame->length)) failUnreadable(frame);
}

// Reads the next block of the file on top.
static Byte refillFile(FileFrame* frame) {
  if (frame->ended) return endFile(frame);
  if (frame->kind == frameSuspended) resumeFile(frame);
  if (frame->kind == frameSuspended) return endFile(frame);
  keepLastByte(frame);
  const int64_t got = readFile(frame->handle, frame->storage(), frame->readSize);
  // A failed read must not pass for the end: text would be missing.
  if (got < 0) failUnreadable(frame);
  if (got <= 0) return endFile(frame);
  frame->ended = got < int64_t{frame->readSize};
  frame->bytesBefore += frame->length;
  if (recording) [[unlikely]]
    measureBlock(frame->size, frame->storage(), size_t(got));
  return beginBlock(frame, uint32_t(got));
}

Byte refillChar() {
  for (;;) {
    InputFrame* const top = input.top;
    if (top == nullptr) {
      input.cursor = endOfTextString + 1;
      input.limit = endOfTextString + 2;
      return '\n';
    }
    switch (top->kind) {
      case frameFile:
      case frameSuspended: return refillFile(asFile(top));
      case frameText: popFrame(); break;
      case frameMacro:
        if (*input.limit != 0) {
          const int c = macroTextEnd(static_cast<MacroFrame*>(top));
          if (c >= 0) return Byte(c);
        } else {
          endMacroFrame(static_cast<MacroFrame*>(top));
        }
        break;
    }
    if (input.cursor < input.limit) return *input.cursor++;
  }
}

void endCurrentFile() {
  InputFrame* const top = input.top;
  if (top == nullptr || !isFileFrame(top)) return;
  asFile(top)->ended = true;
  input.cursor = input.limit;
}

void ungetTwo(Byte c, const Byte* after) {
  ungetChar();
  if (input.cursor == after) {
    ungetChar();
    return;
  }
  pushTextCopy(&c, 1);
}

void passPairedLineEnd(Byte c) {
  const Byte d = nextChar();
  if (!(c == '\r' && d == '\n') && !(c == '\n' && d == '\r')) ungetChar();
}

void countNewline(Byte c) {
  if (c != 0) passPairedLineEnd(c);
  advanceLine();
}

void pushFrame(InputFrame* frame) {
  InputFrame* const top = input.top;
  if (top != nullptr) top->position = int32_t(input.cursor - top->buffer);
  frame->previous = top;
  input.top = frame;
  input.cursor = frame->buffer + frame->position;
  input.limit = frame->buffer + frame->length;
}

void popFrame() {
  InputFrame* const top = input.top;
  InputFrame* const below = top->previous;
  input.top = below;
  if (below != nullptr) {
    input.cursor = below->buffer + below->position;
    input.limit = below->buffer + below->length;
  } else {
    input.cursor = input.limit = nullptr;
  }
  if (top->kind == frameText) memFree(top);
}

// Makes a text frame at the start of `block` and pushes it.
static void pushTextIn(void* block, const Byte* text, size_t length) {
  InputFrame* const frame = new (block) InputFrame{};
  frame->kind = frameText;
  frame->length = uint32_t(length);
  frame->buffer = text;
  pushFrame(frame);
}

void pushTextFrame(const Byte* text, size_t length) {
  pushTextIn(memAlloc(sizeof(InputFrame)), text, length);
}

void pushTextCopy(const Byte* text, size_t length) {
  Byte* const block = static_cast<Byte*>(memAlloc(uint32_t(sizeof(InputFrame) + length + 1)));
  Byte* const copy = block + sizeof(InputFrame);
  std::memcpy(copy, text, length);
  copy[length] = 0;
  pushTextIn(block, copy, length);
}

bool suspendFile() {
  FileFrame* outermost = nullptr;
  for (InputFrame* frame = input.top; frame != nullptr; frame = frame->previous) {
    // What has no size, as a pipe, can't be read again from where it was left.
    if (frame->kind == frameFile && !asFile(frame)->standardInput && sizeOfFile(asFile(frame)->handle) >= 0)
      outermost = asFile(frame);
  }
  if (outermost == nullptr) return false;
  closeFile(outermost->handle);
  outermost->kind = frameSuspended;
  return true;
}

int openSourceFile(const char* name) {
  for (;;) {
    const int handle = openForReading(name);
    if (handle == openNoMemory) failOutOfMemory();
    if (handle != openTooManyFiles || !suspendFile()) return handle;
  }
}

PushResult refusalOf(int failure) {
  return failure == openFailed ? notFound : unreadable;
}

// A frame for an open file, of which nothing has been read.
static FileFrame* makeFileFrame(int handle) {
  const uint32_t readSize = input.includeDepth < roomyDepth ? roomyReadSize : deepReadSize;
  // The byte before the buffer, and the NUL after it; endFile puts two bytes into the buffer.
  FileFrame* const frame =
      new (memAlloc(uint32_t(sizeof(FileFrame)) + 1 + (readSize < 2 ? 2 : readSize) + 1)) FileFrame{};
  frame->kind = frameFile;
  frame->readSize = readSize;
  frame->handle = handle;
  frame->buffer = frame->storage();
  frame->storage()[-1] = ' ';
  frame->storage()[0] = 0;
  return frame;
}

// Keeps the including file's place in `frame`, and begins the file `name`.
static void enterFile(FileFrame* frame, const char* name) {
  frame->savedFileName = currentFileName;
  frame->savedLine = currentLine;
  frame->savedConditions = input.condStack;
  input.condStack = nullptr;
  frame->openName = memCopy(name, std::strlen(name));
  currentFileName = frame->openName;
  currentLine = 0;
  input.currentFileFrame = frame;
  if (writesGnuMarkers())
    frame->savedGnuFile =
        enterGnuFile(frame->openName, frame->standardInput ? name : openedHostName(), searchesAngled);
  ++input.includeDepth;
}

// Reads an open file next.
static PushResult pushOpenFile(const char* name, int handle, bool standardInput) {
  FileFrame* const frame = makeFileFrame(handle);
  frame->standardInput = standardInput;
  pushFrame(frame);
  if ((optionImage.outputFlags & (headerStatisticsFlag | guardDetailsFlag)) != 0)
    countHeader(name, currentFileName);
  if (recording) [[unlikely]]
    noteFileEvent(fileEntered, name, searchesAngled, standardInput);
  enterFile(frame, name);
  pushTextFrame(newFileString, 1);
  return pushed;
}

PushResult pushSourceFile(const char* name) {
  if (input.includeDepth != 0 && guardAllowsSkip(name)) {
    if (recording) [[unlikely]]
      noteFileEvent(fileSkipped, name, searchesAngled);
    return skipped;
  }
  if (input.includeDepth >= includeDepthLimit) reportFatal(msgIncludeTooDeep);
  const int handle = openSourceFile(name);
  return handle < 0 ? refusalOf(handle) : pushOpenFile(name, handle, false);
}

PushResult pushStandardInput(const char* name) {
  const int handle = openStandardInput();
  if (handle == openNoMemory) failOutOfMemory();
  return handle < 0 ? refusalOf(handle) : pushOpenFile(name, handle, true);
}

// Makes the nearest file frame from the top the current one.
static void findCurrentFile() {
  InputFrame* frame = input.top;
  while (frame != nullptr && !isFileFrame(frame)) frame = frame->previous;
  input.currentFileFrame = frame == nullptr ? nullptr : asFile(frame);
  setStdNames(input.currentFileFrame != nullptr && input.currentFileFrame->headerFlag);
}

bool popSourceFile(bool quiet) {
  InputFrame* const top = input.top;
  if (top == nullptr) return false;
  if (!isFileFrame(top)) {
    popFrame();
    return true;
  }

  FileFrame* const frame = asFile(top);
  if (input.condStack != nullptr) {
    if (!quiet) reportError(msgEndInConditional, input.condStack->startLine);
    dropConditions();
  }
  if ((optionImage.outputFlags & (headerStatisticsFlag | guardDetailsFlag)) != 0)
    completeHeader(currentFileName, frame->guardFirstLine, frame->guardLastLine);
  if (recording) [[unlikely]]
    noteFileLeft(frame->openName, frame->size, frame->guardFirstLine != 0);
  if (frame->kind == frameFile) closeFile(frame->handle);
  input.condStack = frame->savedConditions;
  --input.includeDepth;
  if (frame->previous == nullptr) {
    input.top = nullptr;
    input.cursor = input.limit = nullptr;
    input.currentFileFrame = nullptr;
    return false;
  }
  currentLine = frame->savedLine;
  messageLine = currentLine;
  currentFileName = frame->savedFileName;
  if (writesGnuMarkers()) reenterGnuFile(frame->savedGnuFile);
  popFrame();
  memFree(frame);
  findCurrentFile();
  return true;
}

void resetInputStack() {
  input = {};
  searchesAngled = false;
}
