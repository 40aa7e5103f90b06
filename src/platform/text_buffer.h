// A text that grows, for what a whole run gathers.
//
// It takes its memory from the system, outside the memory of a unit: it outlives units, and must
// not make one run out of memory.

#pragma once

#include "base.h"

struct TextBuffer {
  char* data;       // null while nothing has been appended
  size_t length;    // bytes in use
  size_t capacity;  // bytes there are
  bool failed;      // an append found no memory: the text is incomplete
};

// Appends bytes, a text, or a number in decimal. False if there is no memory; from then on
// everything is refused until the buffer is emptied.
bool appendBytes(TextBuffer& buffer, const char* bytes, size_t length);
bool appendText(TextBuffer& buffer, const char* text);
bool appendNumber(TextBuffer& buffer, int64_t number);

// Gives the memory back; the buffer is empty and may be used again.
void emptyBuffer(TextBuffer& buffer);
