// Text of any bytes in JSON.

#include "diag/json_text.h"

#include <cstring>

#include "platform/paths.h"

constexpr char hexDigits[] = "0123456789ABCDEF";

// True if `c` goes on with a character of UTF-8.
static bool isContinuation(char c) {
  return (Byte(c) & 0xC0) == 0x80;
}

// Length of the well-formed UTF-8 character that begins the `length` bytes at `text`; 0 if there is none.
static size_t utf8Length(const char* text, size_t length) {
  const Byte first = Byte(text[0]);
  const size_t need = first < 0x80 ? 1 : first < 0xC2 ? 0 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
  if (need == 0 || need > length || first > 0xF4) return 0;
  for (size_t i = 1; i < need; ++i)
    if (!isContinuation(text[i])) return 0;
  // Longer forms than needed, surrogates, and numbers that are no character.
  const Byte second = need > 1 ? Byte(text[1]) : 0;
  const bool wrong = (first == 0xE0 && second < 0xA0) || (first == 0xED && second >= 0xA0) ||
                     (first == 0xF0 && second < 0x90) || (first == 0xF4 && second >= 0x90);
  return wrong ? 0 : need;
}

// Appends a character below U+0020, or a quote or backslash.
static void appendEscape(TextBuffer& buffer, char c) {
  const char escape[] = {'\\', 'u', '0', '0', hexDigits[Byte(c) >> 4], hexDigits[c & 15]};
  const char* const shortForms = "\"\"\\\\\nn\tt\rr";
  for (const char* form = shortForms; *form != 0; form += 2) {
    if (*form != c) continue;
    const char pair[] = {'\\', form[1]};
    appendBytes(buffer, pair, sizeof pair);
    return;
  }
  appendBytes(buffer, escape, sizeof escape);
}

// Appends a byte that is no UTF-8 as the character of its number.
static void appendOwnCharacter(TextBuffer& buffer, Byte c) {
  const char character[] = {char(0xC0 | c >> 6), char(0x80 | (c & 0x3F))};
  appendBytes(buffer, character, sizeof character);
}

void appendJsonPart(TextBuffer& buffer, const char* bytes, size_t length) {
  const char* const end = bytes + length;
  while (bytes < end) {
    const size_t taken = utf8Length(bytes, size_t(end - bytes));
    if (taken == 0)
      appendOwnCharacter(buffer, Byte(*bytes));
    else if (Byte(*bytes) < ' ' || *bytes == '"' || *bytes == '\\')
      appendEscape(buffer, *bytes);
    else
      appendBytes(buffer, bytes, taken);
    bytes += taken == 0 ? 1 : taken;
  }
}

void appendJsonString(TextBuffer& buffer, const char* text) {
  appendText(buffer, "\"");
  appendJsonPart(buffer, text, std::strlen(text));
  appendText(buffer, "\"");
}

void dropListEnd(TextBuffer& buffer) {
  if (buffer.length >= 2 && std::memcmp(buffer.data + buffer.length - 2, ",\n", 2) == 0) buffer.length -= 2;
}

// --- URIs ---

// True for what stands for itself in the path of a URI.
static bool isUnreserved(char c) {
  return isDigit(Byte(c)) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
         (c != 0 && std::strchr("-._~", c) != nullptr);
}

// Appends a path without its drive; a backslash is a separator.
static void appendUriPath(TextBuffer& buffer, const char* path) {
  while (*path != 0) {
    for (size_t length = pathCharLength(path), i = 0; i < length; ++i, ++path) {
      const char encoded[] = {'%', hexDigits[Byte(*path) >> 4], hexDigits[*path & 15]};
      if (length == 1 && isSeparator(*path))
        appendText(buffer, "/");
      else if (isUnreserved(*path))
        appendBytes(buffer, path, 1);
      else
        appendBytes(buffer, encoded, sizeof encoded);
    }
  }
}

void appendJsonUri(TextBuffer& buffer, const char* path) {
  const size_t drive = splitPath(path).driveLength;
  appendText(buffer, "\"");
  if (drive != 0 && isSeparator(path[drive])) {
    appendText(buffer, "file:///");
    appendBytes(buffer, path, drive);
    path += drive;
  } else if (isSeparator(path[0])) {
    // With two separators the name of a host follows.
    appendText(buffer, isSeparator(path[1]) ? "file:" : "file://");
  }
  appendUriPath(buffer, path);
  appendText(buffer, "\"");
}
