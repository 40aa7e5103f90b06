// The message catalogue.
//
// The program's own texts are rows in the order of their identifiers, found by a
// binary search. A language library replaces all of them at once: a text file
// in the directory of the program, with the program's name and the name of a language as its
// extension. It is looked for once, before the first text is loaded.
//
// The form of a library is made for editing. A line is an identifier, a blank and
// the text. In the text "\n" is a line end, "\s" a blank (for the end of a line,
// where editors drop blanks) and "\\" a backslash; any other backslash stands for
// itself. A line that doesn't begin with a digit is a comment. The first line of
// an identifier counts. What the library leaves out has an empty text.
//
// A library is loaded into pages of its own, since the first text is needed before
// the memory layer runs. It is decoded in place: a decoded text is never longer
// than its line, and its NUL takes the place of the line's end.

#include "diag/messages.h"

#include <algorithm>
#include <cstring>

#include "platform/files.h"
#include "platform/locale.h"
#include "platform/pages.h"
#include "platform/paths.h"

// A text of the program's own.
struct MessageRow {
  uint16_t id;
  const char* text;
};

constexpr MessageRow builtInMessages[] = {
#define MESSAGE(id, name, text) {id, text},
#include "diag/messages.def"
#undef MESSAGE
};
constexpr int messageRows = int(sizeof builtInMessages / sizeof builtInMessages[0]);

constexpr bool messagesInOrder = [] {
  for (int i = 1; i < messageRows; ++i)
    if (builtInMessages[i - 1].id >= builtInMessages[i].id) return false;
  return true;
}();
static_assert(messagesInOrder, "the lookup is a binary search");

// A file above this size is no library; the program's own texts take 8 KB.
constexpr int64_t librarySizeLimit = 1 << 20;

// The catalogue in force.
struct MessageModule {
  bool chosen;                     // the search for a library has been made
  Byte* pages;                     // the library, null for the program's own texts
  size_t size;                     // of these pages, in bytes
  const char* texts[messageRows];  // with a library: its text for each row, null if it has none
};

static constinit MessageModule messageModule = {};

// The row of an identifier, or -1.
static int findMessageRow(int id) {
  int low = 0;
  int high = messageRows;
  while (low < high) {
    const int middle = (low + high) / 2;
    if (builtInMessages[middle].id < id)
      low = middle + 1;
    else
      high = middle;
  }
  return low < messageRows && builtInMessages[low].id == id ? low : -1;
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
static bool readLibraryLine(Byte* line, const Byte* end, const char* texts[messageRows]) {
  Byte* cursor = line;
  int id = 0;
  for (; cursor < end && *cursor >= '0' && *cursor <= '9'; ++cursor)
    if (id <= UINT16_MAX) id = id * 10 + (*cursor - '0');
  if (cursor == line) return false;
  if (cursor < end && *cursor != ' ' && *cursor != '\t') return false;

  const int row = findMessageRow(id);
  if (row < 0 || texts[row] != nullptr) return false;
  if (cursor < end) ++cursor;
  decodeLibraryText(cursor, end);
  texts[row] = asChars(cursor);
  return true;
}

// Decodes a library of `size` bytes, after which there is room for one more.
// True if it held any text.
static bool readLibrary(Byte* text, size_t size, const char* texts[messageRows]) {
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

// Reads the file `path` into fresh pages, with at least one 0 after it. False if
// it can't be read, is empty or is too large to be a library.
static bool loadLibraryPages(const char* path, MessageModule& library, size_t& textSize) {
  const int handle = openSettings(path);
  if (handle < 0) return false;
  const int64_t size = sizeOfFile(handle);
  if (size > 0 && size <= librarySizeLimit) {
    textSize = size_t(size);
    library.size = (textSize / pageSize() + 1) * pageSize();
    library.pages = static_cast<Byte*>(allocatePages(library.size));
    if (library.pages != nullptr && readFile(handle, library.pages, textSize) != size) {
      releasePages(library.pages, library.size);
      library.pages = nullptr;
    }
  }
  closeFile(handle);
  return library.pages != nullptr;
}

bool useLanguageLibrary(const char* path) {
  MessageModule library = {};
  size_t textSize = 0;
  if (!loadLibraryPages(path, library, textSize)) return false;
  if (!readLibrary(library.pages, textSize, library.texts)) {
    releasePages(library.pages, library.size);
    return false;
  }
  useBuiltInMessages();
  messageModule = library;
  messageModule.chosen = true;
  return true;
}

void useBuiltInMessages() {
  if (messageModule.pages != nullptr) releasePages(messageModule.pages, messageModule.size);
  messageModule = {};
  messageModule.chosen = true;
}

// Tries the library with the extension `language`; `dot` is the place of the dot
// in `path`, which has room for it.
static bool tryLanguage(char* path, size_t dot, const char* language) {
  const size_t length = std::strlen(language);
  if (length == 0) return false;
  path[dot] = '.';
  std::memcpy(path + dot + 1, language, length + 1);
  return useLanguageLibrary(path);
}

// Chooses the catalogue: the library that the user's configuration names, else the
// one of the environment' language, by its three letters or the first two, else
// the program's own texts.
static void findMessageModule() {
  constexpr size_t pathSize = 256;
  char path[pathSize + sizeof(LanguageName)];

  useBuiltInMessages();
  if (!programPath(path, pathSize)) return;
  const LanguageName configured = configuredLocale(path);
  LanguageName language = localeLanguage();
  // Without an extension the dot goes to the end of the name.
  const size_t dot = splitPath(path).extension;
  if (tryLanguage(path, dot, configured.text) || tryLanguage(path, dot, language.text)) return;
  language.text[2] = 0;
  tryLanguage(path, dot, language.text);
}

// The text of `id`, empty if the catalogue in force doesn't hold it.
static const char* findMessage(int id) {
  if (!messageModule.chosen) findMessageModule();
  const int row = findMessageRow(id);
  if (row < 0) return "";
  if (messageModule.pages == nullptr) return builtInMessages[row].text;
  return messageModule.texts[row] != nullptr ? messageModule.texts[row] : "";
}

char* loadMessageInto(size_t size, char* buffer, int id) {
  const char* const text = findMessage(id);
  const size_t length = std::min(std::strlen(text), size - 1);
  std::memcpy(buffer, text, length);
  buffer[length] = 0;
  return buffer;
}
