// The shared text buffer.
//
// Text is collected at its end. Four kinds of text pass through it:
//
//   spellings        of the name or number read last, from the end on, which does
//                    not move; whoever wants to keep one moves the end over it
//   bodies, lines    of #define and other directives, from the start of the buffer
//   arguments        of macro calls, one level on top of the other: a level begins
//                    at the end, and moves it back when its text has been copied
//   characters       of a character constant, from the start
//
// A byte that finds no room is dropped; whoever collects asks isFull at the end.

#pragma once

#include "base.h"
#include "input/macro_text.h"

constexpr size_t tokenTextSize = 16384;

struct TokenText {
  Byte* end;                      // where the next byte goes, and a NUL stands
  Byte bytes[tokenTextSize + 1];  // one more, for the end mark of a full body

  // The place that no byte of text may take: that of the last NUL.
  Byte* limit() { return bytes + tokenTextSize - 1; }

  size_t length() const { return size_t(end - bytes); }
  size_t room() { return size_t(limit() - end); }
  bool isFull() { return end >= limit(); }

  // Empties the buffer.
  void clear() {
    end = bytes;
    *end = 0;
  }

  // Lets the next text begin at the start. What stands there can still be read.
  void rewind() { end = bytes; }

  // The same with an earlier end: what stands after it can still be read.
  void release(Byte* mark) { end = mark; }

  // Takes in the `count` bytes at the end, which are there already.
  void keep(size_t count) {
    end += count;
    *end = 0;
  }

  void append(Byte c) {
    if (!isFull()) *end++ = c;
    *end = 0;
  }

  // Appends a byte with the escape before it where it would mean something in
  // macro text: 0, and a byte with bit 7 set.
  void appendEscaped(Byte c) {
    if (c != 0 && c < firstParameter) {
      append(c);
    } else if (room() == 1) {
      // Half of the pair must not stand alone; the blank fills the buffer, which is
      // how the collector notices the loss.
      append(' ');
    } else if (!isFull()) {
      append(escapeMark);
      append(c);
    }
  }

  // Appends a blank, unless one stands at the end.
  void appendBlank() {
    if (!endsInBlank()) append(' ');
  }

  bool endsInBlank() const { return end > bytes && end[-1] == ' '; }

  // Removes trailing blanks.
  void dropBlanks() {
    while (endsInBlank()) --end;
    *end = 0;
  }
};

extern TokenText tokenText;
