// #include: the name in its three forms, and the search.
//
// A name becomes a sequence of candidate paths, each of which goes to
// pushSourceFile; trying to open is the only test for existence. The first
// candidate that is not refused ends the search.

#include "input/include_search.h"

#include <cstring>
#include <new>

#include "diag/report.h"
#include "input/frame.h"
#include "input/type_import.h"
#include "memory/memory.h"
#include "options/option_image.h"
#include "platform/paths.h"
#include "scanner/identifiers.h"

// Called from here, defined later:
#include "directive/conditions.h"
#include "directive/directives.h"
#include "driver/output.h"
#include "macro/define.h"
#include "macro/expand.h"
#include "macro/macro_text.h"
#include "scanner/char_class.h"
#include "scanner/literals.h"
#include "scanner/scan.h"

constinit DirList includeDirs = nullptr;
constinit DirList libraryDirs = nullptr;

// The working copy of the name stands here, away from the copy for messages.
static char* workingName() {
  return reinterpret_cast<char*>(tokenText + tokenTextSize - (pathLimit + 16));
}

// --- The lists ---

// Puts one directory in front of a list: without its quotes, and with a closing
// separator.
static void addDir(DirList& list, const char* item, size_t length) {
  char* const path = static_cast<char*>(permAlloc(length + 2));
  size_t used = 0;
  for (size_t i = 0; i < length; ++i)
    if (item[i] != '"') path[used++] = item[i];
  if (used != 0 && !endsInSeparator(path, used)) path[used++] = '\\';
  path[used] = 0;
  DirNode* const node = permRecord<DirNode>();
  *node = {list, path};
  list = node;
}

void addDirs(DirList& list, const char* text) {
  const char* item = text;
  for (;; ++text) {
    if (*text != ';' && *text != 0) continue;
    if (text != item) addDir(list, item, size_t(text - item));
    if (*text == 0) return;
    item = text + 1;
  }
}

void reverseDirs(DirList& list) {
  DirNode* reversed = nullptr;
  while (list != nullptr) {
    DirNode* const node = list;
    list = node->next;
    node->next = reversed;
    reversed = node;
  }
  list = reversed;
}

// --- The name ---

// With -idl a ',' behind a name announces another: an #include of it is put in
// front of what follows.
static void readBehindName() {
  const Byte c = nextSignificantChar(0);
  if (c != ',') {
    checkLineEnd(c);
    return;
  }
  static const Byte nextInclude[] = {0, '\r', '\n', '#', 'i', 'n', 'c', 'l', 'u', 'd', 'e', ' ', 0};
  pushMacroText(nullptr, nextInclude + 1, nullptr);
  --currentLine;
  --messageLine;
}

// Copies the name between its quotes or brackets, with them, from `c` on. What
// does not fit is dropped, and the closing character with it.
static void copyLiteralName(Byte c) {
  const Byte closing = c == '<' ? '>' : '"';
  bufPutChar(c);
  bool closed = false;
  for (;;) {
    c = nextChar();
    if (isLineEnd(c) || c == endOfTextByte) break;
    bufPutChar(c);
    if (c == closing) {
      closed = true;
      break;
    }
  }
  if (importMode) {
    if (!closed) ungetChar();
    return;
  }
  if ((optionImage.outputFlags & idlFlag) != 0) {
    if (!closed) ungetChar();
    readBehindName();
  } else {
    checkLineEnd(closed ? Byte(' ') : c);
  }
}

// Collects the rest of the line with its macros expanded, as plain bytes.
static void expandName() {
  ungetChar();
  readBodyTokens(nullptr, true);
  tokenTextPtr = dropEscapes(tokenText);
}

char* readIncludeName(Byte c, Byte& delimiter) {
  tokenTextPtr = tokenText;
  *tokenTextPtr = 0;
  const char* const directive = importMode ? "import" : "include";
  if (c == '<' || c == '"')
    copyLiteralName(c);
  else
    expandName();

  const Byte* start = tokenText;
  const Byte* end = tokenTextPtr;
  tokenTextPtr = tokenText;
  while (start < end && (*start == ' ' || *start == '\t')) ++start;
  while (end > start && (end[-1] == ' ' || end[-1] == '\t')) --end;
  if (start == end || (*start != '"' && *start != '<')) {
    reportError(msgBadFileNameFormat, directive);
    return nullptr;
  }
  delimiter = *start;
  const Byte closing = delimiter == '<' ? '>' : '"';
  if (end - start < 2 || end[-1] != closing) {
    reportError(msgNoFileNameEnding);
    return nullptr;
  }
  const size_t length = size_t(end - start) - 2;
  if (length > pathLimit) {
    reportError(msgFileNameTooLong);
    return nullptr;
  }
  char* const working = workingName();
  std::memmove(working, start + 1, length);
  working[length] = 0;
  std::memcpy(tokenText, working, length + 1);
  return working;
}

// --- The search ---

PushResult tryDirList(const DirNode* list, const char* name) {
  const size_t nameLength = std::strlen(name);
  for (; list != nullptr; list = list->next) {
    const size_t pathLength = std::strlen(list->path);
    if (pathLength + nameLength > pathLimit) return notFound;
    char path[pathLimit + 1];
    std::memcpy(path, list->path, pathLength);
    std::memcpy(path + pathLength, name, nameLength + 1);
    const PushResult result = pushSourceFile(path);
    if (result != notFound) return result;
  }
  return notFound;
}

// Tries `name` in the directory of the file `base`, unless that is the directory
// of `refused`, where it has just been tried.
static PushResult tryBeside(const char* base, const char* refused, const char* name) {
  if (base == nullptr) return notFound;
  const size_t pathLength = splitPath(base).nameStart;
  if (refused != nullptr && splitPath(refused).nameStart == pathLength &&
      std::memcmp(base, refused, pathLength) == 0)
    return notFound;
  const size_t nameLength = std::strlen(name);
  if (pathLength + nameLength > pathLimit) return notFound;
  char path[pathLimit + 1];
  std::memcpy(path, base, pathLength);
  std::memcpy(path + pathLength, name, nameLength + 1);
  return pushSourceFile(path);
}

PushResult tryBesideIncluders(const char* name) {
  if (isRootedPath(name)) return notFound;
  const char* tried = currentFileName;
  const PushResult result = tryBeside(tried, nullptr, name);
  if (result != notFound) return result;
  for (const InputFrame* frame = inputTop; frame != nullptr; frame = frame->previous) {
    if (frame->kind != frameFile && frame->kind != frameSuspended) continue;
    const char* const includer = static_cast<const FileFrame*>(frame)->savedFileName;
    const PushResult outer = tryBeside(includer, tried, name);
    if (outer != notFound) return outer;
    tried = includer;
  }
  return notFound;
}

// Cuts the base name to 8 characters and puts `extension` behind it.
static void setExtension(char* name, const PathParts& parts, const char* extension, size_t length) {
  const size_t base = parts.extension - parts.nameStart;
  char* const target = name + parts.nameStart + (base < 8 ? base : 8);
  std::memmove(target, extension, length);
  target[length] = 0;
}

void truncateTo83(char* name) {
  const PathParts parts = splitPath(name);
  const size_t length = parts.length - parts.extension;
  setExtension(name, parts, name + parts.extension, length < 4 ? length : 4);
}

// Gives a name without an extension ".h", and says so.
static bool addHeaderExtension(char* name) {
  const PathParts parts = splitPath(name);
  if (parts.extension != parts.length) return false;
  setExtension(name, parts, ".h", 2);
  return true;
}

// One pass of the search. `headerFlag` is set where a <...> name gets its ".h".
static PushResult searchInclude(char* name, bool quoted, bool& headerFlag) {
  PushResult result = notFound;
  if (quoted && optionImage.searchIncluders != 0) result = tryBesideIncluders(name);
  if (result == notFound && (quoted || isRootedPath(name) || optionImage.includeGiven == 0))
    result = pushSourceFile(name);
  if (result == notFound && !quoted) {
    if (optionImage.mfcCompat != 0) result = tryBesideIncluders(name);
    if (result == notFound) result = tryDirList(includeDirs, name);
    if (result == notFound && addHeaderExtension(name)) headerFlag = true;
  }
  if (result == notFound) result = tryDirList(includeDirs, name);
  return result;
}

void setStdNames(bool defined) {
  static const Byte record[] = {objectLike, '1', endOfBodyMark, 0};
  if (knownNames.usingStdNames != nullptr) knownNames.usingStdNames->macroBody = defined ? record : noMacro;
}

// Reads the empty and comment-only lines at the start of the file just pushed,
// up to its first token; a directive there may be the file's guard.
static void enterFile() {
  for (;;) {
    emitChar('\r');
    emitChar('\n');
    const Byte c = nextSignificantChar(0);
    if (c == '#') {
      processDirective(true, true);
      return;
    }
    if (!isLineEnd(c)) {
      ungetChar();
      return;
    }
    countNewline(c);
  }
}

void includeDirective(Byte c) {
  Byte delimiter;
  char* const name = readIncludeName(c, delimiter);
  if (name == nullptr) return;
  const bool quoted = delimiter == '"';
  bool headerFlag = false;
  PushResult result = searchInclude(name, quoted, headerFlag);
  if (result == notFound) {
    truncateTo83(name);
    result = searchInclude(name, quoted, headerFlag);
  }
  if (result == notFound || result == unreadable) {
    reportError(msgCannotOpenInclude, tokenText);
    return;
  }
  if (result == skipped) return;
  currentFileFrame->headerFlag = headerFlag;
  setStdNames(headerFlag);
  if (includeDepth >= 2) enterFile();
}
