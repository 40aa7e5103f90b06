// Texts by number: those that the program brings along, and language libraries in a
// form made for editing.
//
// The program's own texts are rows in the order of their identifiers, found by a
// binary search. A library replaces all of them at once: a text file. A line is an
// identifier, a blank and
// the text. In the text "\n" is a line end, "\s" a blank (for the end of a line,
// where editors drop blanks) and "\\" a backslash; any other backslash stands for
// itself. A line that doesn't begin with a digit is a comment. The first line of
// an identifier counts. What the library leaves out has an empty text.
//
// A library is loaded into pages of its own, since the first text is needed before
// the memory layer runs. It is decoded in place: a decoded text is never longer
// than its line, and its NUL takes the place of the line's end.

#include "platform/string_table.h"

#include <algorithm>
#include <cstring>

#include "platform/files.h"
#include "platform/pages.h"
#include "platform/paths.h"

// The program's own texts, in the order of their numbers.
static constinit const StringRow* ownStrings = nullptr;
static constinit int stringRows = 0;

void setOwnStrings(const StringRow* rows, int count) {
  ownStrings = rows;
  stringRows = count;
}

// A file above this size is no library; the program's own texts take 8 KB.
constexpr int64_t librarySizeLimit = 1 << 20;

// The library in force. For each row of the program's own texts it has a text, or
// null; these pointers lie in front of the library, in the same pages.
struct StringLibrary {
  Byte* pages;  // null while the program's own texts are in force
  size_t size;  // of these pages, in bytes

  const char** texts() const { return reinterpret_cast<const char**>(pages); }
};

static constinit StringLibrary openLibrary = {};

// The row of an identifier, or -1.
static int findStringRow(int id) {
  int low = 0;
  int high = stringRows;
  while (low < high) {
    const int middle = (low + high) / 2;
    if (ownStrings[middle].id < id)
      low = middle + 1;
    else
      high = middle;
  }
  return low < stringRows && ownStrings[low].id == id ? low : -1;
}

// Replaces the escapes of a library's text, which ends at `end`, and puts a NUL
// after it: at `end` if there was no escape.
static void decodeLibraryText(Byte* text, const Byte* end) {
  Byte* to = text;
  for (const Byte* from = text; from < end; ++from) {
    const Byte next = *from == '\\' && from + 1 < end ? from[1] : Byte(0);
    if (next != 'n' && next != 's' && next != '\\') {
      *to++ = *from;
      continue;
    }
    *to++ = next == 'n' ? Byte('\n') : next == 's' ? Byte(' ') : Byte('\\');
    ++from;
  }
  *to = 0;
}

// Takes one line of a library into `texts`. True if it held a text.
static bool readLibraryLine(Byte* line, const Byte* end, const char** texts) {
  Byte* cursor = line;
  int id = 0;
  for (; cursor < end && *cursor >= '0' && *cursor <= '9'; ++cursor)
    if (id <= UINT16_MAX) id = id * 10 + (*cursor - '0');
  if (cursor == line) return false;
  if (cursor < end && *cursor != ' ' && *cursor != '\t') return false;

  const int row = findStringRow(id);
  if (row < 0 || texts[row] != nullptr) return false;
  if (cursor < end) ++cursor;
  decodeLibraryText(cursor, end);
  texts[row] = asChars(cursor);
  return true;
}

// Decodes a library of `size` bytes, after which there is room for one more.
// True if it held any text.
static bool readLibrary(Byte* text, size_t size, const char** texts) {
  constexpr Byte byteOrderMark[] = {0xEF, 0xBB, 0xBF};
  const Byte* const limit = text + size;
  Byte* line = text;
  if (size >= sizeof byteOrderMark && std::memcmp(text, byteOrderMark, sizeof byteOrderMark) == 0)
    line += sizeof byteOrderMark;

  bool any = false;
  for (;;) {
    Byte* end = line;
    while (end < limit && *end != '\n' && *end != '\r' && *end != endOfTextByte) ++end;
    const bool last = end == limit || *end == endOfTextByte;
    if (readLibraryLine(line, end, texts)) any = true;
    if (last) return any;
    line = end + 1;
  }
}

// Bytes that the pointers of a library take.
static size_t pointerSize() {
  return size_t(stringRows) * sizeof(const char*);
}

// Reads the file `path` into fresh pages, after the pointers and with at least one 0
// after it. False if it can't be read, is empty or is too large to be a library.
static bool loadLibraryPages(const char* path, StringLibrary& library, size_t& textSize) {
  const int handle = openSettings(path);
  if (handle < 0) return false;
  const int64_t size = sizeOfFile(handle);
  if (size > 0 && size <= librarySizeLimit) {
    textSize = size_t(size);
    library.size = ((pointerSize() + textSize) / pageSize() + 1) * pageSize();
    library.pages = static_cast<Byte*>(allocatePages(library.size));
    if (library.pages != nullptr && readFile(handle, library.pages + pointerSize(), textSize) != size) {
      releasePages(library.pages, library.size);
      library.pages = nullptr;
    }
  }
  closeFile(handle);
  return library.pages != nullptr;
}

bool openStringLibrary(const char* path) {
  StringLibrary library = {};
  size_t textSize = 0;
  if (!loadLibraryPages(path, library, textSize)) return false;
  if (!readLibrary(library.pages + pointerSize(), textSize, library.texts())) {
    releasePages(library.pages, library.size);
    return false;
  }
  closeStringLibrary();
  openLibrary = library;
  return true;
}

void closeStringLibrary() {
  if (openLibrary.pages != nullptr) releasePages(openLibrary.pages, openLibrary.size);
  openLibrary = {};
}

size_t loadString(int id, char* buffer, size_t size) {
  const int row = findStringRow(id);
  const char* text = row < 0                        ? nullptr
                     : openLibrary.pages == nullptr ? ownStrings[row].text
                                                    : openLibrary.texts()[row];
  if (text == nullptr) text = "";
  const size_t length = std::min(std::strlen(text), size - 1);
  std::memcpy(buffer, text, length);
  buffer[length] = 0;
  return length;
}

size_t languageStem(char* buffer, size_t size) {
  if (!programPath(buffer, size)) return 0;
  // Without an extension, as program files of this host have none, the dot goes to
  // the end of the name.
  const size_t dot = splitPath(buffer).extension;
  if (dot + 1 >= size) return 0;
  buffer[dot] = '.';
  return dot + 1;
}

// The console shows text as the program has it.
void toConsoleCharset(char*) {}
