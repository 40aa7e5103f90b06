// #import: hands a type library to the outside component that reads it, and
// includes the header which that generates.
//
// The library itself is never read here: its path and the attributes go to the
// component, which answers with the name of a header, and that is included as if
// the source had named it.

#include "directive/imports.h"

#include <cstring>

#include "diag/report.h"
#include "directive/includes.h"
#include "input/frame.h"
#include "input/include_search.h"
#include "memory/memory.h"
#include "names/names.h"
#include "platform/component.h"
#include "platform/files.h"
#include "scanner/literals.h"
#include "scanner/skip.h"
#include "scanner/scan.h"
#include "scanner/state.h"
#include "scanner/token.h"
#include "scanner/token_text.h"

// --- The attributes ---

// The attribute text while it grows.
struct AttributeText {
  char* text;
  uint32_t capacity;
  uint32_t used;
};

constexpr uint32_t firstAttributeCapacity = 4096;

// Appends a piece with a blank after it.
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
  tokenText.rewind();
  tokenText.append('"');
  for (;;) {
    const int c = nextStringChar();
    if (c == -1) break;
    if (c == endOfTextByte) {
      ungetChar();
      break;
    }
    if (c > 0xFF) tokenText.append(Byte(c >> 8));
    tokenText.append(Byte(c));
  }
  tokenText.append('"');
  addPiece(attributes, asChars(tokenText.bytes), tokenText.length());
  tokenText.rewind();
}

// Reads the rest of the line; its end stays unread.
static void readAttributes(AttributeText& attributes) {
  scanner.lineMode = true;
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
  scanner.lineMode = false;
  if (tokenState.code != tokEndOfFile) ungetIfPossible();
}

// --- The directive ---

// Finds the library. False after a report, the line then being skipped.
static bool findLibrary(Byte c) {
  Byte delimiter;
  char* const name = readIncludeName(c, isImport, delimiter);
  if (name != nullptr) {
    if (searchLibrary(name, delimiter == '"') == pushed) return true;
    reportError(msgCannotOpenImport, tokenText.bytes);
  }
  skipLine(' ');
  return false;
}

// Hands the library to the component. False after a report; else the name of the
// header stands in `generatedName`.
static bool generateHeader(const char* attributes, char* generatedName) {
  int result = 0;
  const bool called = readTypeLibrary(importPath, attributes, generatedName, result);
  // It has made a header.
  forgetDirectories();
  if (!called) {
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
