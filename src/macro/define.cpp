// Macro definitions: the readers of #define lines and -D switches, and the store.
//
// A body is read once and encoded: parameters become one-byte references, the
// two operators one-byte codes, runs of blanks single blanks. Whatever two
// definitions must agree in to be the same is made equal here, so a redefinition
// is judged by comparing bytes.

#include "macro/define.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "diag/report.h"
#include "input/frame.h"
#include "macro/macro_text.h"
#include "memory/memory.h"
#include "options/option_image.h"
#include "scanner/char_class.h"
#include "scanner/identifiers.h"
#include "scanner/literals.h"
#include "scanner/scan.h"

// Called from here, defined later:
#include "directive/conditions.h"
#include "directive/lines.h"
#include "driver/output.h"

constinit Byte macroNameBuffer[macroNameSize] = {};

// Length of the body just made, with the mark at its end.
static constinit uint32_t macroBodyLength = 0;

// --- Names ---

Byte readMacroName(Byte c) {
  uint32_t sum = 0;
  uint32_t length = 0;
  for (;;) {
    while (hashStep[c] != 0) {
      if (length < identLimit) {
        macroNameBuffer[length++] = c;
        sum += uint32_t(hashStep[c]);
      }
      c = nextChar();
    }
    if (c != '\\') break;
    const Byte* const behind = inputCursor;
    const Byte d = nextChar();
    if (!isLineEnd(d)) {
      ungetTwo('\\', behind);
      nextChar();
      break;
    }
    countNewline(d);
    c = nextChar();
  }
  macroNameBuffer[length] = 0;
  identLength = length;
  identHash = sum - length;
  return c;
}

int reservedNameIndex(const Byte* name, uint32_t length) {
  if (length == 8 && name[0] == '_' && name[1] == '_' && name[6] == '_' && name[7] == '_') {
    const char* const middle = asChars(name) + 2;
    if (std::memcmp(middle, "STDC", 4) == 0) return optionImage.languageLevel == levelAnsi ? 1 : 0;
    if (std::memcmp(middle, "FILE", 4) == 0) return 2;
    if (std::memcmp(middle, "LINE", 4) == 0) return 3;
    if (std::memcmp(middle, "DATE", 4) == 0) return 4;
    if (std::memcmp(middle, "TIME", 4) == 0) return 5;
    return 0;
  }
  if (length == 11 && std::memcmp(name, "__cplusplus", 11) == 0) return cplusplusMode ? 6 : 0;
  return 0;
}

// True for a name that no source may define: a dynamic one, and `defined`.
static bool isProtectedName() {
  const Byte* const name = macroNameBuffer;
  if (name[0] == '_' && name[1] == '_') return reservedNameIndex(name, identLength) != 0;
  return identLength == 7 && std::memcmp(name, "defined", 7) == 0;
}

// --- Bodies ---

static bool isBlank(Byte c) {
  return c == ' ' || c == '\t' || c == '\v' || c == '\f';
}

// Room of the text buffer for a body without parameters.
static uint32_t roomLeft() {
  return uint32_t(tokenTextEnd() - tokenTextPtr);
}

// Removes the spaces at the end of the collected text.
static void dropTrailingSpaces() {
  while (tokenTextPtr > tokenText && tokenTextPtr[-1] == ' ') --tokenTextPtr;
  *tokenTextPtr = 0;
}

// '#' in the body of a macro without parameters. True if it was "##".
static bool readBodyHash(Byte terminator) {
  if (nextChar() == '#') {
    dropTrailingSpaces();
    if (tokenTextPtr != tokenText) {
      bufPutChar(pasteMark);
      return true;
    }
    reportError(msgBadDirectiveSyntax, "define");
  } else if (terminator == ')') {
    reportError(msgBadDirectiveSyntax, "define");
  } else {
    bufPutChar('#');
  }
  ungetChar();
  return false;
}

// A backslash in a body that begins no splice, and the byte behind it.
static void readBodyBackslash() {
  const Byte c = nextChar();
  if (roomLeft() < 2) return;
  bufPutChar('\\');
  appendCopied(c);
}

// Collects a body without parameters into tokenText; `terminator` is ')' behind
// an empty parameter list. The line end stays unread.
static void readObjectBody(Byte terminator) {
  lineMode = true;
  tokenTextPtr = tokenText;
  *tokenTextPtr = 0;
  bool behindPaste = false;  // blanks there are dropped
  for (;;) {
    const Byte c = nextChar();
    if (isBlank(c) || (c == '/' && passComment())) {
      if (!behindPaste) appendBlank();
      continue;
    }
    if (c == '\\' && passSplice()) continue;
    behindPaste = false;
    if (isLineEnd(c)) {
      ungetChar();
      break;
    }
    if (c == endOfTextByte) {
      if (!popSourceFile(false)) break;
    } else if (c == '"' || c == '\'') {
      if (!copyLiteral(false, bufPutEscaped, c)) break;
    } else if (c == '\\') {
      readBodyBackslash();
    } else if (c == '#') {
      behindPaste = readBodyHash(terminator);
    } else {
      appendCopied(c);
    }
  }
  lineMode = false;
  if (roomLeft() == 0) reportError(msgExpansionTooLong);
}

// The place of the name at tokenTextPtr in the list of parameters, or -1.
static int findParameter(const ParameterNode* parameters, const Byte* name) {
  int place = 0;
  for (const ParameterNode* node = parameters; node != nullptr; node = node->next, ++place)
    if (node->hash == identHash && node->length == identLength &&
        std::memcmp(node->name, name, identLength) == 0)
      return place;
  return -1;
}

void readBodyTokens(const ParameterNode* parameters, bool expand) {
  activeClass = expand ? &copyClass : &bodyClass;
  lineMode = true;
  *tokenTextPtr = 0;
  for (;;) {
    const TokenCode code = scanToken();
    if (code == tokEndOfLine) {
      ungetChar();
      break;
    }
    if (code == tokEndOfFile) break;
    if (code != tokIdent) {
      // copyClass makes a comma of a Ctrl-Z, which ends the line for the scanner
      // to meet again.
      ungetChar();
      break;
    }
    const int place = findParameter(parameters, tokenTextPtr);
    if (place >= 0) {
      if (tokenTextPtr < tokenTextEnd()) {
        *tokenTextPtr++ = Byte(firstParameter + place);
        *tokenTextPtr = 0;
      }
    } else {
      tokenTextPtr += identLength;
    }
  }
  activeClass = &tokenClass;
  lineMode = false;
  if (tokenTextPtr >= tokenTextEnd()) reportError(msgExpansionTooLong);
  tokenTextPtr = tokenText;
}

// The NUL that ends the text in tokenText: one behind an escape is part of it.
static Byte* endOfBody() {
  Byte* end = tokenText;
  while (*end != 0) end += *end == escapeMark ? 2 : 1;
  return end;
}

Byte* dropEscapes(Byte* text) {
  Byte* target = text;
  for (const Byte* source = text; *source != 0; ++source) {
    if (*source == escapeMark && source[1] != 0) ++source;
    *target++ = *source;
  }
  *target = 0;
  return target;
}

// An escaped 0xFB at the end loses its byte here and is given the end mark, which is
// the same byte, in its place.
TrimmedBody trimBody() {
  Byte* start = tokenText;
  Byte* end = endOfBody();
  while (*start == ' ' || *start == '\t') ++start;
  while (end > start && (end[-1] == ' ' || end[-1] == '\t' || end[-1] == endOfBodyMark)) --end;
  *end = 0;
  if (end == start) start = end = tokenText;
  *end = 0;
  return {start, uint32_t(end - start)};
}

// --- The store ---

// Bytes that the names of `parameters` take behind a record.
static uint32_t sizeOfNames(const ParameterNode* parameters) {
  uint32_t size = 0;
  for (; parameters != nullptr; parameters = parameters->next) size += parameters->length + 1;
  return size;
}

// True if the stored record equals the new definition. A record shorter than the
// new body ends in a NUL that the body lacks there, so the comparison stops.
static bool isSameRecord(const Byte* record, Byte paramByte, const ParameterNode* parameters, bool names,
                         const Byte* body) {
  if (*record++ != paramByte) return false;
  for (uint32_t i = 0; i <= macroBodyLength; ++i)
    if (record[i] != body[i]) return false;
  if (!names) return true;
  record += macroBodyLength + 1;
  for (; parameters != nullptr; parameters = parameters->next) {
    if (std::memcmp(record, parameters->name, parameters->length + 1) != 0) return false;
    record += parameters->length + 1;
  }
  return true;
}

static void writeRecord(IdentEntry* entry, Byte paramByte, const ParameterNode* parameters, uint32_t extra,
                        const Byte* body) {
  Byte* target = carveSAVE(1 + macroBodyLength + 1 + extra);
  entry->macroBody = target;
  *target++ = paramByte;
  std::memcpy(target, body, macroBodyLength + 1);
  target += macroBodyLength + 1;
  if (extra == 0) return;
  for (; parameters != nullptr; parameters = parameters->next) {
    std::memcpy(target, parameters->name, parameters->length + 1);
    target += parameters->length + 1;
  }
}

// Writes the comment of -Sd; no line end.
static void noteDefinition(const char* word, const IdentEntry* entry) {
  emitText(word);
  emitText(asChars(entry->spelling()));
  emitText(" */");
}

// Stores a macro under `name`, whose hash and length are set, or judges a
// redefinition. The body is macroBodyLength bytes with a NUL behind them.
static void storeMacro(const Byte* name, Byte paramByte, const ParameterNode* parameters, const Byte* body) {
  IdentEntry* const entry = findIdentEntry(name);
  if (optionImage.showDefines != 0) noteDefinition("/* define ", entry);
  const bool names = optionImage.languageLevel == levelAnsi && paramByte != 0 && paramByte != objectLike;
  const uint32_t extra = names ? sizeOfNames(parameters) : 0;
  if (entry->macroBody != noMacro) {
    if (isSameRecord(entry->macroBody, paramByte, parameters, names, body)) return;
    Byte* const textPtr = tokenTextPtr;
    // A report may build its text in tokenText, where the body stands too; a body
    // that fills it leaves no room.
    if (body >= tokenText && body < tokenText + tokenTextSize)
      tokenTextPtr = std::min(tokenText + (body - tokenText) + macroBodyLength + 1, tokenTextEnd());
    warnIdent(warnRedefinition, entry);
    tokenTextPtr = textPtr;
  }
  writeRecord(entry, paramByte, parameters, extra, body);
}

void defineMacroText(const Byte* body, const Byte* name) {
  hashIdentifier(name);
  // A name that is empty, or too long for its length field, is never met in a source.
  if (identLength == 0 || identLength > 255) return;
  macroBodyLength = uint32_t(std::strlen(asChars(body)));
  storeMacro(name, objectLike, nullptr, body);
}

// --- #define ---

// The definition being read.
struct Definition {
  Byte name[macroNameSize];
  uint32_t hash;
  uint32_t length;
  Byte paramByte;
  ParameterNode* parameters;  // the last one first
  uint32_t parameterCount;
};

static void addParameter(Definition& definition) {
  // With more parameters than there are codes there will be no macro.
  if (definition.parameterCount > uint32_t(parameterLimit)) return;
  if (findParameter(definition.parameters, macroNameBuffer) >= 0)
    reportError(msgMultipleDeclaration, macroNameBuffer);
  ParameterNode* const node = new (memAlloc(uint32_t(sizeof(ParameterNode)) + identLength)) ParameterNode;
  node->next = definition.parameters;
  node->hash = identHash;
  node->length = identLength;
  std::memcpy(node->name, macroNameBuffer, identLength + 1);
  definition.parameters = node;
  ++definition.parameterCount;
}

static void freeParameters(ParameterNode* node) {
  while (node != nullptr) {
    ParameterNode* const next = node->next;
    memFree(node);
    node = next;
  }
}

// Reads the parameter list from its first name, `c`, to the ')'. False after a
// report, the line then being skipped.
static bool readParameters(Byte c, Definition& definition) {
  for (;;) {
    if (hashStep[c] == 0) {
      reportError(msgArgumentSyntax);
      skipLine(c);
      return false;
    }
    c = readMacroName(c);
    addParameter(definition);
    c = skipSpaceFrom(c);
    if (c == ')') return true;
    if (c != ',') {
      reportError(msgArgumentSeparator);
      skipLine(c);
      return false;
    }
    c = skipSpace();
  }
}

// Turns the references of the collected body, which count from the last
// parameter, round to count from the first, and looks at the operators. False
// if a '#' stands in front of anything but a parameter.
static bool numberParameters(Definition& definition) {
  const int last = int(definition.parameterCount) - 1;
  for (Byte* text = tokenText; *text != 0; ++text) {
    if (isParameter(*text)) {
      *text = Byte(firstParameter + last - (*text - firstParameter));
    } else if (*text == pasteMark) {
      definition.paramByte |= hasOperators;
    } else if (*text == stringizeMark) {
      definition.paramByte |= hasOperators;
      if (!isParameter(text[1])) {
        reportError(msgBadDirectiveSyntax, "define");
        return false;
      }
    } else if (*text == escapeMark) {
      ++text;
    }
  }
  return true;
}

// The body of a macro with parameters. False if there is no definition.
static bool readFunctionBody(Definition& definition) {
  if (definition.parameterCount > uint32_t(parameterLimit)) {
    reportError(msgBadDirectiveSyntax, "define");
    skipLine(skipSpace());
    return false;
  }
  definition.paramByte = Byte(definition.parameterCount);
  skipSpace();
  ungetChar();
  tokenTextPtr = tokenText;
  readBodyTokens(definition.parameters, false);
  return numberParameters(definition);
}

// Reads what stands behind the name; `c` is the byte there. False if there is no
// definition.
static bool readDefinition(Byte c, Definition& definition) {
  definition.paramByte = objectLike;
  if (c != '(') {
    ungetChar();
    readObjectBody(0);
    return true;
  }
  c = skipSpace();
  if (c == ')') {
    definition.paramByte = 0;
    readObjectBody(')');
    return true;
  }
  return readParameters(c, definition) && readFunctionBody(definition);
}

// Ends the collected body and stores the macro.
static void storeDefinition(const Definition& definition) {
  const TrimmedBody body = trimBody();
  Byte* const start = body.start;
  const uint32_t length = body.length;
  if (length != 0 && (start[0] == pasteMark || (length > 1 && start[length - 1] == pasteMark)))
    reportError(msgBadDirectiveSyntax, "define");
  start[length] = endOfBodyMark;
  start[length + 1] = 0;
  macroBodyLength = length + 1;
  identHash = definition.hash;
  identLength = definition.length;
  storeMacro(definition.name, definition.paramByte, definition.parameters, start);
}

void defineDirective(Byte c) {
  if (!isNameStart(c)) {
    reportError(msgDefineNeedsName);
    skipLine(c);
    return;
  }
  c = readMacroName(c);
  Definition definition;
  definition.hash = identHash;
  definition.length = identLength;
  definition.parameters = nullptr;
  definition.parameterCount = 0;
  if (isProtectedName()) reportError(msgBadDirectiveSyntax, "define");
  std::memcpy(definition.name, macroNameBuffer, definition.length + 1);
  if (readDefinition(c, definition)) storeDefinition(definition);
  freeParameters(definition.parameters);
  tokenTextPtr = tokenText;
}

// --- #undef ---

void undefDirective(Byte c) {
  if (!isNameStart(c)) {
    reportError(msgBadDirectiveSyntax, "undef");
    skipLine(c);
    return;
  }
  c = readMacroName(c);
  const uint32_t hash = identHash;
  const uint32_t length = identLength;
  checkLineEnd(c);
  identHash = hash;
  identLength = length;
  if (isProtectedName()) {
    reportError(msgBadDirectiveSyntax, "undef");
    return;
  }
  IdentEntry* const entry = findIdentEntry(macroNameBuffer);
  entry->macroBody = noMacro;
  if (optionImage.showDefines != 0) noteDefinition("/* undef ", entry);
}

// --- Definitions of the command line ---

// One definition.
struct CommandDefine {
  CommandDefine* next;  // in the order of the switches
  CommandDefine* nextInChain;
  const Byte* value;  // encoded, ending in the mark and a NUL
  const Byte* name;   // NUL-terminated
};

static constinit CommandDefine* commandDefines = nullptr;
static constinit CommandDefine** commandDefinesTail = &commandDefines;

// The definitions by their names: generated command lines hold thousands.
constexpr size_t defineChainCount = 1024;
static constinit CommandDefine* defineChains[defineChainCount] = {};

static CommandDefine*& defineChain(const char* name, size_t length) {
  uint32_t hash = 2166136261U;
  for (size_t i = 0; i < length; ++i) hash = (hash ^ Byte(name[i])) * 16777619U;
  return defineChains[(hash ^ hash >> 15) % defineChainCount];
}

void clearCommandDefines() {
  for (CommandDefine*& chain : defineChains) chain = nullptr;
  commandDefines = nullptr;
  commandDefinesTail = &commandDefines;
}

// The encoded form of a value, in memory that lasts for the run.
static const Byte* encodeValue(const char* value, size_t length) {
  Byte* const encoded = static_cast<Byte*>(permAlloc(2 * length + 2));
  Byte* target = encoded;
  for (size_t i = 0; i < length; ++i) {
    const Byte c = Byte(value[i]);
    if (c >= 0x80) *target++ = escapeMark;
    *target++ = c;
  }
  *target++ = endOfBodyMark;
  *target = 0;
  return encoded;
}

static CommandDefine* findCommandDefine(const char* name, size_t length) {
  for (CommandDefine* node = defineChain(name, length); node != nullptr; node = node->nextInChain)
    if (std::strlen(asChars(node->name)) == length && std::memcmp(node->name, name, length) == 0) return node;
  return nullptr;
}

void addDefine(const char* name, size_t nameLength, const char* value, size_t valueLength) {
  const Byte* const encoded = encodeValue(value, valueLength);
  if (const CommandDefine* const node = findCommandDefine(name, nameLength)) {
    if (std::strcmp(asChars(node->value), asChars(encoded)) != 0) reportWarning(warnRedefinition, node->name);
    return;
  }
  CommandDefine* const node = permRecord<CommandDefine>();
  node->next = nullptr;
  node->value = encoded;
  node->name = asBytes(permCopy(name, nameLength));
  *commandDefinesTail = node;
  commandDefinesTail = &node->next;
  CommandDefine*& chain = defineChain(name, nameLength);
  node->nextInChain = chain;
  chain = node;
}

// Adds one item of -D; an empty one says nothing.
static void addDefineItem(const char* item, size_t length) {
  if (length == 0) return;
  const void* const equals = std::memchr(item, '=', length);
  const size_t nameLength = equals == nullptr ? length : size_t(static_cast<const char*>(equals) - item);
  const size_t valueStart = equals == nullptr ? length : nameLength + 1;
  addDefine(item, nameLength, item + valueStart, length - valueStart);
}

void addCommandDefine(const char* text) {
  const char* item = text;
  for (;; ++text) {
    if (*text == '\\' && text[1] != 0) {
      ++text;
    } else if (*text == ';' || *text == 0) {
      addDefineItem(item, size_t(text - item));
      if (*text == 0) return;
      item = text + 1;
    }
  }
}

void removeCommandDefine(const char* name) {
  const size_t length = std::strlen(name);
  CommandDefine* const node = findCommandDefine(name, length);
  if (node == nullptr) return;
  CommandDefine** link = &commandDefines;
  while (*link != node) link = &(*link)->next;
  *link = node->next;
  if (commandDefinesTail == &node->next) commandDefinesTail = link;
  CommandDefine** chain = &defineChain(name, length);
  while (*chain != node) chain = &(*chain)->nextInChain;
  *chain = node->nextInChain;
}

void installCommandDefines() {
  for (const CommandDefine* node = commandDefines; node != nullptr; node = node->next)
    defineMacroText(node->value, node->name);
}
