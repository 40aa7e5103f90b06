// Response files and the configuration file.
//
// A response file is compacted where it stands: its tokens, each with a NUL after
// it, move to the front of the block, over what has been read. The new argument
// vector points into the blocks, so nothing of this is released. Two passes work
// on the text. The first takes quotes and comments out; the second looks for the
// tokens in the result, by the same idea of blanks and comments, so an empty token
// and one that began with a quoted ';' are gone. Only what the second one finds is
// counted.
//
// The configuration file delivers one token after the other into a short buffer.
// Its rules for quotes are its own: a backslash keeps a quote in the token.

#include "options/arguments.h"

#include <cstring>

#include "diag/fatal.h"
#include "diag/report.h"
#include "memory/memory.h"
#include "options/option_image.h"
#include "options/options.h"
#include "platform/files.h"
#include "platform/paths.h"

constinit const char* configFileName = defaultConfigFile;

// The longest token of the configuration file with its NUL, and so how many bytes
// of a longer one are shown.
constexpr size_t configTokenLimit = 269;

// Bytes asked for at first for a file of unknown size.
constexpr uint32_t textStartSize = 4096;

// A response file: its tokens, each NUL-terminated.
struct ResponseText {
  ResponseText* next;
  Byte* text;
  Byte* end;  // after the last NUL
};

// Where the configuration text is read.
static constinit const Byte* configCursor = nullptr;

static bool isBlank(Byte c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

// Ends the process because the file `name` isn't there.
[[noreturn]] static void failFileNotFound(const char* name) {
  reportError(msgFileNotFound, name);
  leaveRun();
}

// A block of memAlloc of twice the size with the bytes of `block`, which is freed.
static Byte* growText(Byte* block, uint32_t& capacity) {
  if (capacity > UINT32_MAX / 2) failOutOfMemory();
  Byte* const larger = static_cast<Byte*>(memAlloc(capacity * 2));
  std::memcpy(larger, block, capacity);
  memFree(block);
  capacity *= 2;
  return larger;
}

// Ends the process because the file `name` is there and can't be read.
[[noreturn]] static void failUnreadable(const char* name) {
  reportFatal(msgCannotOpenInput, name);
  leaveRun();
}

// Reads the rest of the open file `name` into a block of memAlloc, with the
// end-of-text byte after its `length` bytes. The size of a pipe is not known
// before, so the block grows as needed.
static Byte* readAll(int handle, const char* name, size_t& length) {
  uint32_t capacity = textStartSize;
  Byte* block = static_cast<Byte*>(memAlloc(capacity));
  length = 0;
  for (;;) {
    const int64_t count = readFile(handle, block + length, capacity - length);
    if (count < 0) failUnreadable(name);
    length += size_t(count);
    if (length < capacity) break;
    block = growText(block, capacity);
  }
  block[length] = endOfTextByte;
  return block;
}

// Reads a file that was to be opened as `handle`, as readAll does; null also if the
// open has failed. A lack of memory ends the run.
static Byte* readTextFile(int handle, const char* path, size_t& length) {
  if (handle == openNoMemory) failOutOfMemory();
  if (handle < 0) return nullptr;
  Byte* const text = readAll(handle, path, length);
  closeFile(handle);
  return text;
}

// Copies one token of a response file to `to` without its quotes. Leaves `from` at
// the blank or the end-of-text byte that ended it; returns the end of the copy.
static Byte* compactToken(const Byte*& from, Byte* to) {
  while (!isBlank(*from) && *from != endOfTextByte) {
    if (*from != '"') {
      *to++ = *from++;
      continue;
    }
    for (++from; *from != '"' && *from != '\r' && *from != endOfTextByte; ++from) *to++ = *from;
    if (*from == '"') ++from;
  }
  return to;
}

// Compacts the text of a response file, which ends in the end-of-text byte: each
// token with a NUL after it. Returns the end of the result. The copy never gets
// ahead of the reading, since each token is followed by at least one byte.
static Byte* compactResponse(Byte* text) {
  const Byte* from = text;
  Byte* to = text;
  for (;;) {
    while (isBlank(*from) || *from == 0) ++from;
    if (*from == endOfTextByte) return to;
    if (*from == ';') {
      while (*from != '\n' && *from != 0 && *from != endOfTextByte) ++from;
      continue;
    }
    to = compactToken(from, to);
    const bool last = *from == endOfTextByte;
    *to++ = 0;
    if (last) return to;
    ++from;
  }
}

// The next token of a compacted text, with `cursor` moved after it; null at the end.
static char* nextResponseToken(Byte*& cursor, const Byte* end) {
  for (;;) {
    while (cursor < end && (isBlank(*cursor) || *cursor == 0)) ++cursor;
    if (cursor == end) return nullptr;
    if (*cursor != ';') break;
    while (*cursor != '\n' && *cursor != 0) ++cursor;
  }
  char* const token = reinterpret_cast<char*>(cursor);
  cursor += std::strlen(token) + 1;
  return token;
}

// Reads the response file `name` for the run and returns how many tokens it has.
static int readResponseFile(ResponseText& node, const char* name) {
  size_t length;
  Byte* const block = readTextFile(openForReading(name), name, length);
  if (block == nullptr) {
    messageLimits.errors = 0;
    messageLimits.warnings = 0;
    failFileNotFound(name);
  }
  node.text = static_cast<Byte*>(permAlloc(length + 1));
  std::memcpy(node.text, block, length + 1);
  memFree(block);

  node.end = compactResponse(node.text);
  int count = 0;
  for (Byte* cursor = node.text; nextResponseToken(cursor, node.end) != nullptr;) ++count;
  return count;
}

// Reads all response files that the arguments name, in their order, and sets
// `count` to the number of arguments after the expansion.
static ResponseText* readResponseFiles(char** argv, int argc, int& count) {
  ResponseText* first = nullptr;
  ResponseText** link = &first;
  count = argc;
  for (int i = 0; i < argc; ++i) {
    if (argv[i][0] != '@') continue;
    *link = permRecord<ResponseText>();
    (*link)->next = nullptr;
    count += readResponseFile(**link, argv[i] + 1) - 1;
    link = &(*link)->next;
  }
  return first;
}

void expandResponseFiles(char**& argv, int& argc) {
  int count;
  const ResponseText* node = readResponseFiles(argv, argc, count);
  if (node == nullptr) return;

  char** const vector = static_cast<char**>(permAlloc((size_t(count) + 1) * sizeof(char*)));
  char** to = vector;
  for (int i = 0; i < argc; ++i) {
    if (argv[i][0] != '@') {
      *to++ = argv[i];
      continue;
    }
    Byte* cursor = node->text;
    while (char* const token = nextResponseToken(cursor, node->end)) *to++ = token;
    node = node->next;
  }
  // As in the vector that the system hands over.
  *to = nullptr;
  argv = vector;
  argc = count;
}

// A token of the configuration file while it is copied; bytes beyond the limit are
// dropped.
struct ConfigToken {
  char* text;
  size_t length;
  size_t limit;
};

static void appendByte(ConfigToken& token, Byte c) {
  if (token.length < token.limit) token.text[token.length++] = char(c);
}

// Turns a backslash at the end of the token into the quote that it stands for.
static void replaceBackslash(ConfigToken& token) {
  if (token.length != 0 && token.text[token.length - 1] == '\\') token.text[token.length - 1] = '"';
}

// Copies text between quotes; configCursor is at its opening quote. The name of a
// precompiled header is the one text that keeps its quotes.
static void copyQuoted(ConfigToken& token) {
  if (token.length == 2 && std::memcmp(token.text, "-H", 2) == 0)
    appendByte(token, '"');
  else
    replaceBackslash(token);
  ++configCursor;
  while (*configCursor != '"' && *configCursor != 0 && *configCursor != '\r' &&
         *configCursor != endOfTextByte)
    appendByte(token, *configCursor++);
  if (*configCursor != '"') return;
  if (token.length >= 3 && std::memcmp(token.text, "-H\"", 3) == 0) appendByte(token, '"');
  replaceBackslash(token);
  ++configCursor;
}

// Passes blanks and comments of the configuration text.
static void skipConfigBlanks() {
  for (;;) {
    while (isBlank(*configCursor)) ++configCursor;
    if (*configCursor != ';') return;
    while (*configCursor != '\n' && *configCursor != 0 && *configCursor != endOfTextByte) ++configCursor;
  }
}

// Delivers the next token in `buffer`, which has room for `limit` bytes and a NUL;
// the byte that ends it is left unread. 1: a token; 0: it is not shorter than
// `limit`, and its start is delivered; -1: the end of the text.
static int nextConfigToken(size_t limit, char* buffer) {
  skipConfigBlanks();
  // A NUL ends the whole file, also one that ended the token before.
  if (*configCursor == 0 || *configCursor == endOfTextByte) return -1;

  ConfigToken token = {buffer, 0, limit};
  while (!isBlank(*configCursor) && *configCursor != 0 && *configCursor != endOfTextByte) {
    if (*configCursor == '"')
      copyQuoted(token);
    else
      appendByte(token, *configCursor++);
  }
  buffer[token.length] = 0;
  return token.length < limit ? 1 : 0;
}

// Reads the text of a configuration file that nobody asked for; null if there is
// none. One that is there and can't be opened holds switches that count.
static Byte* readDefaultConfig(const char* path) {
  const int handle = openSettings(path);
  if (handle < 0 && handle != openFailed && handle != openNoMemory) failUnreadable(path);
  size_t length;
  return readTextFile(handle, path, length);
}

// Reads the text of the configuration file in the directory of the program; null if
// there is none.
static Byte* readProgramConfig() {
  if (!mayLieBesideProgram(defaultConfigFile)) return nullptr;
  char path[programPathSize + sizeof defaultConfigFile];
  if (!programPath(path, programPathSize)) path[0] = 0;
  std::memcpy(path + splitPath(path).nameStart, defaultConfigFile, sizeof defaultConfigFile);
  return readDefaultConfig(path);
}

// Reads the text of the configuration file; null if there is none.
static Byte* readConfigText(bool given) {
  if (given) {
    size_t length;
    Byte* const text = readTextFile(openSettings(configFileName), configFileName, length);
    if (text != nullptr) return text;
    messageLimits.errors = 0;
    failFileNotFound(configFileName);
  }
  Byte* const text = readDefaultConfig(configFileName);
  return text != nullptr ? text : readProgramConfig();
}

void readConfigurationFile(bool given) {
  Byte* const text = readConfigText(given);
  if (text == nullptr) return;

  char token[configTokenLimit + 1];
  configCursor = text;
  for (int result; (result = nextConfigToken(configTokenLimit, token)) >= 0;) {
    if (result == 1 && (token[0] == '-' || token[0] == '/') && parseOption(configPhase, token + 1)) continue;
    memFree(text);
    refuseOption(textConfigurationFile, token);
  }
  memFree(text);
  configCursor = nullptr;
}
