// The input stack: all characters that the scanner sees come from one stack of
// frames, read through one cursor.
//
// The bottom frame is the source file; every #include pushes a file, every macro
// call and a few directives push text. While a frame is on top, input.cursor and
// input.limit lie in its buffer, and its own `position` is stale; a frame below holds
// its place in `position`.
//
// In macro text the limit is not the end of the text but the next control byte,
// so the fast path of nextChar never meets one. The byte at the limit is always
// readable and never belongs to a name, a number or a run of blanks: loops over
// those need no limit test.

#pragma once

#include <type_traits>

#include "base.h"
#include "diag/position.h"
#include "output/line_markers.h"
#include "record/files.h"

struct IdentEntry;
struct ConditionRecord;

enum FrameKind : int32_t {
  frameFile,       // an open file
  frameSuspended,  // a file whose handle was given up; reopened when it is read again
  frameText,       // plain text
  frameMacro       // encoded macro text
};

// The head of every frame, and the whole of a plain text frame.
struct InputFrame {
  FrameKind kind;
  uint32_t length;       // bytes of the current stretch of `buffer`
  int32_t position;      // of the cursor in `buffer`, while another frame is on top
  const Byte* buffer;    // the current stretch
  InputFrame* previous;  // the frame below, null at the bottom
};

// True for a file, open or suspended.
inline bool isFileFrame(const InputFrame* frame) {
  return frame->kind == frameFile || frame->kind == frameSuspended;
}

// One argument of a macro call.
struct ArgumentNode {
  ArgumentNode* next;    // in the order of the call
  Byte* rawText;         // as written, with marks; a NUL stands before it too
  uint32_t rawLength;    // of rawText, without the NUL after it
  Byte expandedText[1];  // after expansion; the text goes on after the record
};

// A macro's body or an argument's text while it is read.
struct MacroFrame : InputFrame {
  ArgumentNode* arguments;  // of the call, null if none
  const Byte* savedBody;  // goes back into hiddenEntry when the frame ends; null for the text of a parameter
  IdentEntry* hiddenEntry;  // the macro that is no macro while its text is read, or null
};

// An open source file. Its block goes on with the read buffer; before that stands
// the last byte of the text before, so that two steps back are possible after a
// refill.
struct FileFrame : InputFrame {
  int handle;                        // while kind is frameFile
  uint32_t readSize;                 // bytes of the read buffer
  const char* openName;              // the name that it was opened under
  const char* savedFileName;         // currentFileName of the including file
  int32_t savedLine;                 // currentLine at the push
  uint64_t bytesBefore;              // file offset of the first byte of `buffer`
  ConditionRecord* savedConditions;  // of the including file
  int32_t guardFirstLine;            // of the guard's opening directive, 0 until one is found
  int32_t guardLastLine;             // of its #endif
  bool headerFlag;                   // found by adding ".h" to a <...> name
  GnuFile savedGnuFile;              // of the including file
  bool standardInput;                // read from there: it can't be opened again
  bool ended;                        // nothing follows the block in memory
  FileSize size;                     // what has been read, where that is recorded

  Byte* storage() { return reinterpret_cast<Byte*>(this + 1) + 1; }
};

// The size of a read buffer: whole pages of the file, and with the frame a block of
// the pool that is nearly full. Deep in a nest of includes the buffers are small, so
// that a thousand of them stay below 20 MB.
constexpr uint32_t roomyDepth = 32;
#ifdef VSP_READ_SIZE
constexpr uint32_t roomyReadSize = VSP_READ_SIZE;
constexpr uint32_t deepReadSize = VSP_READ_SIZE;
#else
constexpr uint32_t roomyReadSize = 0xF000;
constexpr uint32_t deepReadSize = 0x3000;
#endif

static_assert(std::is_trivially_destructible_v<FileFrame> && std::is_trivially_destructible_v<MacroFrame>);

constexpr uint32_t includeDepthLimit = 1000;

// Where a unit is in its input.
struct InputState {
  InputFrame* top;              // null when the stack is empty
  const Byte* cursor;           // next byte to read
  const Byte* limit;            // first byte that may not be read directly
  FileFrame* currentFileFrame;  // the nearest file frame from the top
  uint32_t includeDepth;        // file frames on the stack
  ConditionRecord* condStack;   // the open groups of the current file, newest first

  // Flags set by macro text as it is read; its readers look at them and clear them.
  bool noExpandMark;        // a mark has been read: the name that follows it stands as it is
  bool pasteSeen;           // a paste has been read since the name began
  const Byte* pendingText;  // what the reader of strings takes in place of the input: a stringized argument,
                            // or the text of a dynamic name; null if there is none

  MacroFrame* freeMacroFrames;  // to be used again, linked by `previous`

  // The entry of __USING_STD_NAMES__, which tells a header that it was named without
  // its ".h"; installKeywords finds it.
  IdentEntry* usingStdNames;
};

extern InputState input;

// The next character where the fast path has none. The end of the input is no
// special value but the character 0x1A, again and again. Leaves the character
// directly before the cursor, so one step back is always legal.
[[gnu::noinline]] Byte refillChar();

// The next character of the input.
VSP_INLINE Byte nextChar() {
  if (input.cursor < input.limit) [[likely]]
    return *input.cursor++;
  return refillChar();
}

// Steps back over the character read last. Two steps are not promised.
VSP_INLINE void ungetChar() {
  --input.cursor;
}

// The same where a step may have been taken already: not beyond the beginning of
// a text, and one byte beyond that of a file's block.
inline void ungetIfPossible() {
  if (input.top == nullptr) return;
  if (input.cursor != input.top->buffer || isFileFrame(input.top)) ungetChar();
}

// Steps back over the character read last and over `c`, which was read before it
// when the cursor then stood at `after`.
void ungetTwo(Byte c, const Byte* after);

// A line end has been read: takes the other half of a pair, and no more.
void passPairedLineEnd(Byte c);

// A line end has been read: takes the other half of a pair, advances the
// counters, and lets the output follow. With 0 for `c` no pair is looked for.
void countNewline(Byte c);

// Puts a frame on the stack, or takes the top one off without any other step.
void pushFrame(InputFrame* frame);
void popFrame();

// Reads `length` bytes of `text` next. The text is not copied; a NUL must stand
// after it.
void pushTextFrame(const Byte* text, size_t length);

// The same with a copy of the text, which lives as long as its frame.
void pushTextCopy(const Byte* text, size_t length);

// Result of pushSourceFile. After `unreadable` a search goes no further: the file
// may be there, and one of the same name elsewhere may be the wrong one.
enum PushResult : int { notFound = 0, pushed = 1, skipped = 2, unreadable = 3 };

// What an OpenFailure means to a search.
PushResult refusalOf(int failure);

// Opens `name` and reads it next.
PushResult pushSourceFile(const char* name);

// Reads standard input next, as the source file `name`.
PushResult pushStandardInput(const char* name);

// Ends the top frame. False if the stack is now empty. With `quiet` an open
// conditional is not reported.
bool popSourceFile(bool quiet);

// Empties the stack; the start of a unit.
void resetInputStack();

// A reader other than the scanner has consumed the Ctrl-Z that ends the file on
// top: what stands after it is not read, and the file's end is delivered again.
void endCurrentFile();

// Opens a file, closing outer files of the stack while there are too many. Gives a
// handle or an OpenFailure; a lack of memory ends the unit.
int openSourceFile(const char* name);

// Closes the outermost open file of the stack, which is reopened when it is read
// again. False if there is none.
bool suspendFile();
