// The output of a unit: the .i file or the console.
//
// Text goes in through emitChar, emitRun and emitText; the fast paths of
// advance_line.h, line_markers.cpp and driver/plain_text.cpp store at `cursor`
// themselves and keep lastChar right. The hot path is a compare and
// a store; everything else (a full buffer, the console, the readable mode of
// -Sr) has the limit at the cursor, and so lands in emitCharSlow.

#pragma once

#include <array>
#include <cstring>

#include "base.h"

// Large enough that the calls of the system don't count: with blocks of 3,584 bytes they take a
// third of the time of a plain text. A small output touches its first pages alone.
constexpr uint32_t outputBufferSize = 0x10000;

// The sink of the unit.
struct Output {
  int handle;              // of the file, -1 when there is none
  bool toConsole;          // the sink is the console
  Byte* buffer;            // outputBufferSize bytes, null when there is none
  Byte* cursor;            // next free byte of the buffer
  Byte* limit;             // end of the room for plain bytes; `cursor` itself when each byte is looked at
  Byte lastChar;           // the last character passed on
  uint32_t pendingBlanks;  // held back at the start of a line in readable mode
  uint32_t lineLength;     // of the current line in readable mode
  const char* name;        // of the file, null for none
};

extern Output output;

// Makes an open file, or the console, the sink. `name` lasts as long as the unit.
void openOutputFile(int handle, const char* name);
void openOutputConsole();

// Writes one byte where the fast path has no room.
void emitCharSlow(Byte c);

// Writes a run of bytes as emitChar would one by one; no wrapping.
void emitRunSlow(const Byte* text, size_t length);

VSP_INLINE void emitChar(Byte c) {
  if (fastPaths && output.cursor < output.limit) [[likely]] {
    *output.cursor++ = c;
    output.lastChar = c;
  } else {
    emitCharSlow(c);
  }
}

// Copies a run that is short as a rule: names, operators, numbers, markers. Up to
// 32 bytes go as two overlapping words, which beats a call.
VSP_INLINE void copyRun(Byte* target, const Byte* text, size_t length) {
  if (length >= 8 && length <= 16) {
    uint64_t first, last;
    std::memcpy(&first, text, 8);
    std::memcpy(&last, text + length - 8, 8);
    std::memcpy(target, &first, 8);
    std::memcpy(target + length - 8, &last, 8);
  } else if (length >= 4 && length < 8) {
    uint32_t first, last;
    std::memcpy(&first, text, 4);
    std::memcpy(&last, text + length - 4, 4);
    std::memcpy(target, &first, 4);
    std::memcpy(target + length - 4, &last, 4);
  } else if (length < 4) {
    for (size_t i = 0; i < length; ++i) target[i] = text[i];
  } else if (length <= 32) {
    std::array<Byte, 16> first, last;
    std::memcpy(&first, text, 16);
    std::memcpy(&last, text + length - 16, 16);
    std::memcpy(target, &first, 16);
    std::memcpy(target + length - 16, &last, 16);
  } else {
    std::memcpy(target, text, length);
  }
}

VSP_INLINE void emitRun(const Byte* text, size_t length) {
  if (fastPaths && length < size_t(output.limit - output.cursor)) [[likely]] {
    if (length == 0) return;
    output.lastChar = text[length - 1];
    copyRun(output.cursor, text, length);
    output.cursor += length;
  } else {
    emitRunSlow(text, length);
  }
}

// The same as a piece before which the readable mode may wrap; for a text
// that has no room on the fast path.
void emitTextSlow(const Byte* text, size_t length);

// Writes a text as a piece before which the readable mode may wrap.
VSP_INLINE void emitText(const Byte* text, size_t length) {
  if (fastPaths && length < size_t(output.limit - output.cursor)) [[likely]]
    emitRun(text, length);
  else
    emitTextSlow(text, length);
}

void emitText(const char* text);

// Flushes, closes and gives the file its name; one whose last write fell short is
// deleted and reported, as is one whose name belongs to a file that the unit has read.
void closeOutput();

// Closes without flushing and deletes the file and an older one of its name, unless
// it is complete already.
void abandonOutput();

// The same for signal handlers and fault filters: touches no memory of a unit,
// since the process is about to end.
void removeOutput();
