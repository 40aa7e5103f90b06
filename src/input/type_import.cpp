// #import.
//
// The library itself is never read here: its path and the attributes go to the
// outside component, which answers with the name of a header, and that is
// included as if the source had named it.

#include "input/type_import.h"

#include <cstring>

#include "diag/report.h"
#include "input/frame.h"
#include "input/include_search.h"
#include "memory/memory.h"
#include "options/option_image.h"
#include "platform/component.h"
#include "platform/files.h"
#include "platform/paths.h"
#include "scanner/identifiers.h"

// Called from here, defined later:
#include "directive/conditions.h"
#include "macro/expand.h"
#include "scanner/literals.h"
#include "scanner/scan.h"

constinit bool importMode = false;

// The path of the library found; empty before a search.
static constinit char importPath[pathLimit + 1] = {};

PushResult testImportFile(const char* name) {
  const int handle = openSourceFile(name);
  if (handle < 0) return refusalOf(handle);
  closeFile(handle);
  const size_t length = std::strlen(name);
  const size_t kept = length < pathLimit ? length : pathLimit;
  std::memcpy(importPath, name, kept);
  importPath[kept] = 0;
  return pushed;
}

// --- The search ---

// Tries `name` in one directory of PATH, whose letters are folded to upper case.
static PushResult tryPathDirectory(const char* item, size_t length, const char* name) {
  while (length != 0 && (item[length - 1] == ' ' || item[length - 1] == '\t')) --length;
  const size_t nameLength = std::strlen(name);
  if (length == 0 || length + 1 + nameLength > pathLimit) return notFound;
  char path[pathLimit + 1] = {};
  for (size_t i = 0; i < length; ++i) path[i] = char(foldCase(Byte(item[i])));
  if (!endsInSeparator(path, length)) path[length++] = '\\';
  std::memcpy(path + length, name, nameLength + 1);
  const char* start = path;
  while (*start == ' ' || *start == '\t') ++start;
  return pushSourceFile(start);
}

static PushResult tryPath(const char* name) {
  const char* item = environmentValue("PATH");
  if (item == nullptr) return notFound;
  for (;;) {
    const char* const end = item + std::strcspn(item, ";");
    const PushResult result = end == item ? notFound : tryPathDirectory(item, size_t(end - item), name);
    if (result != notFound || *end == 0) return result;
    item = end + 1;
  }
}

// One pass of the search.
static PushResult searchImport(const char* name, bool quoted) {
  PushResult result = notFound;
  if (quoted && optionImage.searchIncluders != 0) result = tryBesideIncluders(name);
  if (result == notFound && (quoted || isRootedPath(name) || optionImage.includeGiven == 0))
    result = pushSourceFile(name);
  if (result == notFound) result = tryPath(name);
  if (result == notFound) result = tryDirList(libraryDirs, name);
  if (result == notFound && !quoted && optionImage.mfcCompat != 0) result = tryBesideIncluders(name);
  return result == notFound ? tryDirList(includeDirs, name) : result;
}

// --- The attributes ---

// The attribute text while it grows.
struct AttributeText {
  char* text;
  uint32_t capacity;
  uint32_t used;
};

constexpr uint32_t firstAttributeCapacity = 4096;

// Appends a piece with a blank behind it.
static void addPiece(AttributeText& attributes, const char* piece, size_t length) {
  uint32_t capacity = attributes.capacity;
  while (capacity <= attributes.used + length + 2) capacity *= 2;
  if (capacity != attributes.capacity) {
    char* const grown = static_cast<char*>(memAlloc(capacity));
    std::memcpy(grown, attributes.text, attributes.used);
    memFree(attributes.text);
    attributes.text = grown;
    attributes.capacity = capacity;
  }
  std::memcpy(attributes.text + attributes.used, piece, length);
  attributes.used += uint32_t(length);
  attributes.text[attributes.used++] = ' ';
  attributes.text[attributes.used] = 0;
}

// The text of a string token, with its quotes, in tokenText.
static void addString(AttributeText& attributes) {
  tokenTextPtr = tokenText;
  bufPutChar('"');
  for (;;) {
    const int c = nextStringChar();
    if (c == -1) break;
    if (c == endOfTextByte) {
      ungetChar();
      break;
    }
    if (c > 0xFF) bufPutChar(Byte(c >> 8));
    bufPutChar(Byte(c));
  }
  bufPutChar('"');
  addPiece(attributes, asChars(tokenText), size_t(tokenTextPtr - tokenText));
  tokenTextPtr = tokenText;
}

// Reads the rest of the line; its end stays unread.
static void readAttributes(AttributeText& attributes) {
  lineMode = true;
  for (;;) {
    const TokenCode code = getToken();
    if (code == tokEndOfLine || code == tokEndOfFile) break;
    if (code == tokIdent) {
      const char* const spelling = asChars(tokenState.entry->spelling());
      addPiece(attributes, spelling, std::strlen(spelling));
    } else if (code == tokOpenParen || code == tokCloseParen || code == tokComma) {
      addPiece(attributes, tokenSpelling[code], 1);
    } else if (code == tokString) {
      addString(attributes);
    }
  }
  lineMode = false;
  if (tokenState.code != tokEndOfFile) ungetIfPossible();
}

// --- The directive ---

// Finds the library. False after a report, the line then being skipped.
static bool findLibrary(Byte c) {
  importMode = true;
  importPath[0] = 0;
  Byte delimiter;
  char* const name = readIncludeName(c, delimiter);
  bool found = false;
  if (name != nullptr) {
    const bool quoted = delimiter == '"';
    PushResult result = searchImport(name, quoted);
    if (result == notFound) {
      truncateTo83(name);
      result = searchImport(name, quoted);
    }
    found = result == pushed;
    if (!found) reportError(msgCannotOpenImport, tokenText);
  }
  importMode = false;
  if (!found) skipLine(' ');
  return found;
}

// Hands the library to the component. False after a report; else the name of the
// header stands in `generatedName`.
static bool generateHeader(const char* attributes, char* generatedName) {
  int result = 0;
  if (!readTypeLibrary(importPath, attributes, generatedName, result)) {
    reportError(msgTlbReader);
    return false;
  }
  if (result != 0) {
    reportError(msgImportFailed, generatedName);
    return false;
  }
  return true;
}

void importDirective(Byte c) {
  if (!findLibrary(c)) return;
  AttributeText attributes{static_cast<char*>(memAlloc(firstAttributeCapacity)), firstAttributeCapacity, 0};
  attributes.text[0] = 0;
  readAttributes(attributes);
  char generatedName[importNameLimit + 2];
  const bool generated = generateHeader(attributes.text, generatedName);
  memFree(attributes.text);
  if (!generated) return;

  // The name is read as the rest of a quoted #include line. It is no macro text,
  // so its bytes with bit 7 set are ordinary ones.
  const size_t length = std::strlen(generatedName);
  generatedName[length] = '"';
  pushTextCopy(asBytes(generatedName), length + 1);
  includeDirective('"');
}
