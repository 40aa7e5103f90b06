// A text that grows, by doubling.

#include "platform/text_buffer.h"

#include <charconv>
#include <cstdlib>
#include <cstring>

constexpr size_t firstCapacity = 4096;

// Makes room for `length` more bytes. False without memory.
static bool makeRoom(TextBuffer& buffer, size_t length) {
  size_t capacity = buffer.capacity == 0 ? firstCapacity : buffer.capacity;
  while (capacity - buffer.length < length) {
    if (capacity > SIZE_MAX / 2) return false;
    capacity *= 2;
  }
  if (capacity == buffer.capacity) return true;
  char* const grown = static_cast<char*>(std::realloc(buffer.data, capacity));
  if (grown == nullptr) return false;
  buffer.data = grown;
  buffer.capacity = capacity;
  return true;
}

bool appendBytes(TextBuffer& buffer, const char* bytes, size_t length) {
  if (length == 0) return !buffer.failed;
  if (buffer.failed || !makeRoom(buffer, length)) {
    buffer.failed = true;
    return false;
  }
  std::memcpy(buffer.data + buffer.length, bytes, length);
  buffer.length += length;
  return true;
}

bool appendText(TextBuffer& buffer, const char* text) {
  return appendBytes(buffer, text, std::strlen(text));
}

bool appendNumber(TextBuffer& buffer, int64_t number) {
  char digits[24];
  return appendBytes(buffer, digits,
                     size_t(std::to_chars(digits, digits + sizeof digits, number).ptr - digits));
}

void emptyBuffer(TextBuffer& buffer) {
  std::free(buffer.data);
  buffer = {};
}
