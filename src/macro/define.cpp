// Macro definitions: the readers of #define lines and -D switches, and the store.
//
// A body is read once and encoded: parameters become one-byte references, the
// two operators one-byte codes, runs of blanks single blanks. Whatever two
// definitions must agree in to be the same is made equal here, so a redefinition
// is judged by comparing bytes.

#include "macro/define.h"

#include <array>
#include <cstring>
#include <new>

#include "diag/report.h"
#include "input/frame.h"
#include "input/macro_text.h"
#include "macro/explain_macro.h"
#include "memory/memory.h"
#include "options/defines.h"
#include "options/option_image.h"
#include "output/output.h"
#include "scanner/byte_search.h"
#include "scanner/char_class.h"
#include "scanner/literals.h"
#include "scanner/numbers.h"
#include "scanner/read_name.h"
#include "scanner/scan.h"
#include "scanner/skip.h"
#include "scanner/state.h"
#include "scanner/token_text.h"

// The name that readMacroName read last.
static constinit Byte macroNameBuffer[nameBufferSize] = {};

// Length of the body just made, with the mark at its end.
static constinit uint32_t macroBodyLength = 0;

// --- Names ---

Name readMacroName(Byte& c) {
  const Name name = readName(c, macroNameBuffer, identLimit);
  c = nextChar();
  return name;
}

// True for a name that no source may define: a dynamic one, and `defined`.
static bool isProtectedName(const Name& name) {
  return dynamicNameOf(name) != dynamicNone || isSpelled(name, "defined");
}

// --- Bodies ---

static bool isBlank(Byte c) {
  return c == ' ' || c == '\t' || c == '\v' || c == '\f';
}

// '#' in the body of a macro without parameters. True if it was "##".
static bool readBodyHash(Byte terminator) {
  if (nextChar() == '#') {
    tokenText.dropBlanks();
    if (tokenText.length() != 0) {
      tokenText.append(pasteMark);
      return true;
    }
    reportError(msgBadDirectiveSyntax, "define");
  } else if (terminator == ')') {
    reportError(msgBadDirectiveSyntax, "define");
  } else {
    tokenText.append('#');
  }
  ungetChar();
  return false;
}

// A backslash in a body that begins no splice, and the byte after it.
static void readBodyBackslash() {
  const Byte c = nextChar();
  if (tokenText.room() < 2) return;
  tokenText.append('\\');
  tokenText.appendEscaped(c);
}

// The bytes that stand for themselves in a body: all but blanks, line ends, quotes,
// what begins a comment, a splice or an operator, and what is escaped.
constexpr std::array<bool, 256> plainBodyBytes = [] {
  std::array<bool, 256> table{};
  for (size_t c = ' ' + 1; c < 0x7F; ++c) table[c] = true;
  for (const char c : {'/', '\\', '#', '"', '\''}) table[Byte(c)] = false;
  return table;
}();

// Takes such bytes as far as they go in the input's buffer. False if there are none.
VSP_INLINE bool takePlainBody() {
  if constexpr (!fastPaths) return false;
  const Byte* const start = input.cursor;
  const Byte* cursor = start;
  while (cursor < input.limit && plainBodyBytes[*cursor]) ++cursor;
  const size_t length = size_t(cursor - start);
  if (length == 0 || length > tokenText.room()) return false;
  copyRun(tokenText.end, start, length);
  tokenText.keep(length);
  input.cursor = cursor;
  return true;
}

// Collects a body without parameters into tokenText; `terminator` is ')' after
// an empty parameter list. The line end stays unread.
static void readObjectBody(Byte terminator) {
  scanner.lineMode = true;
  tokenText.clear();
  bool afterPaste = false;  // blanks there are dropped
  for (;;) {
    if (takePlainBody()) afterPaste = false;
    const Byte c = nextChar();
    if (isBlank(c) || (c == '/' && passComment())) {
      if (!afterPaste) tokenText.appendBlank();
      continue;
    }
    if (c == '\\' && passSplice()) continue;
    afterPaste = false;
    if (isLineEnd(c)) {
      ungetChar();
      break;
    }
    if (c == endOfTextByte) {
      if (!popSourceFile(false)) break;
    } else if (c == '"' || c == '\'') {
      if (!copyLiteral(false, appendLiteralByte, c)) break;
    } else if (c == '\\') {
      readBodyBackslash();
    } else if (c == '#') {
      afterPaste = readBodyHash(terminator);
    } else {
      tokenText.appendEscaped(c);
    }
  }
  scanner.lineMode = false;
  if (tokenText.isFull()) reportError(msgExpansionTooLong);
}

// The place of a name in the list of parameters, or -1.
static int findParameter(const ParameterNode* parameters, const Name& name) {
  int place = 0;
  for (const ParameterNode* node = parameters; node != nullptr; node = node->next, ++place)
    if (node->hash == name.hash && node->length == name.length &&
        std::memcmp(node->name, name.text, name.length) == 0)
      return place;
  return -1;
}

// The first bytes of the parameters' names, as bits: most names of a body are told apart by
// theirs.
static uint64_t firstBytes(const ParameterNode* parameters) {
  uint64_t bits = 0;
  for (; parameters != nullptr; parameters = parameters->next)
    bits |= uint64_t{1} << (parameters->name[0] & 63);
  return bits;
}

// The place of a parameter by its text, or -1. `firsts` are the first bytes of all of them.
VSP_INLINE int placeOfParameter(const Byte* text, uint32_t length, const ParameterNode* parameters,
                                uint64_t firsts) {
  if ((firsts >> (*text & 63) & 1) == 0) return -1;
  for (int place = 0; parameters != nullptr; parameters = parameters->next, ++place)
    if (parameters->length == length && isSameText(parameters->name, text, length)) return place;
  return -1;
}

// The end of the literal at `text`, if it is a plain one: without a backslash, and closed before
// `limit`. Else null.
VSP_INLINE const Byte* plainLiteralEnd(const Byte* text, const Byte* limit) {
  const Byte quote = *text;
  for (++text; (text = passPlainCharacters(text, limit)) < limit && *text != quote; ++text)
    if (*text < ' ' || *text >= 0x7F || *text == '\\') return nullptr;
  return text < limit ? text + 1 : nullptr;
}

// The end of the name, integer, literal or other byte at `text` that stands for itself in a
// body; null if it is none, or may go on after `limit`.
VSP_INLINE const Byte* plainTokenEnd(const Byte* text, const Byte* limit) {
  const Byte c = *text;
  const Byte* end = text + 1;
  if (isNameByte(c)) {
    if (limit - text >= searchRoom) end = passNameBytes(text);
    while (isNameByte(*end)) ++end;
    const bool whole = end < limit && *end != '\\' && size_t(end - text) <= identLimit;
    const bool plain = isDigit(c) ? isPlainInteger(text, end) : c != 'L' || (*end != '"' && *end != '\'');
    return whole && plain ? end : nullptr;
  }
  if (plainBodyBytes[c]) return c != '.' || !isDigit(*end) ? end : nullptr;
  return c == '"' || c == '\'' ? plainLiteralEnd(text, limit) : nullptr;
}

// Takes what is plain in the body of a macro with parameters, as far as it goes in the input's
// buffer: names, integers, literals, blanks, and the bytes that stand for themselves. The rest,
// from comments to operators, is left to the scanner.
static void takePlainTokens(const ParameterNode* parameters, uint64_t firsts) {
  const Byte* cursor = input.cursor;
  const Byte* const limit = input.limit;
  Byte* target = tokenText.end;
  while (cursor < limit) {
    if (*cursor == ' ' || *cursor == '\t') {
      if (target == tokenText.limit()) break;
      if (target == tokenText.bytes || target[-1] != ' ') *target++ = ' ';
      ++cursor;
      continue;
    }
    const Byte* const end = plainTokenEnd(cursor, limit);
    const size_t length = size_t(end - cursor);
    if (end == nullptr || length >= size_t(tokenText.limit() - target)) break;
    const int place =
        isNameByte(*cursor) ? placeOfParameter(cursor, uint32_t(length), parameters, firsts) : -1;
    if (place >= 0) {
      *target++ = Byte(firstParameter + place);
    } else {
      copyRun(target, cursor, length);
      target += length;
    }
    cursor = end;
  }
  tokenText.end = target;
  *target = 0;
  input.cursor = cursor;
}

// The same, over the splices between the lines of a source file.
static void takePlainLines(const ParameterNode* parameters, uint64_t firsts) {
  // A string or mark that nobody has taken yet belongs to the first literal or name.
  if (input.pendingText != nullptr || input.noExpandMark) return;
  const InputFrame* const frame = input.top;
  while (input.top == frame && frame != nullptr && frame->kind == frameFile) {
    takePlainTokens(parameters, firsts);
    if (input.limit - input.cursor < 2 || *input.cursor != '\\' || !isLineEnd(input.cursor[1])) return;
    ++input.cursor;
    passSplice();
  }
}

void readBodyTokens(const ParameterNode* parameters, bool expand) {
  scanner.activeClass = expand ? &copyClass : &bodyClass;
  scanner.lineMode = true;
  *tokenText.end = 0;
  const uint64_t firsts = firstBytes(parameters);
  for (;;) {
    if (fastPaths && !expand) takePlainLines(parameters, firsts);
    const TokenCode code = getToken();
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
    const int place = findParameter(parameters, scanner.scannedName);
    if (place >= 0) {
      tokenText.append(Byte(firstParameter + place));
    } else {
      tokenText.keep(scanner.scannedName.length);
    }
  }
  scanner.activeClass = &tokenClass;
  scanner.lineMode = false;
  if (tokenText.isFull()) reportError(msgExpansionTooLong);
  tokenText.rewind();
}

// The NUL that ends the text in tokenText: one after an escape is part of it.
static Byte* endOfBody() {
  Byte* end = tokenText.bytes;
  if (fastPaths) {
    const size_t length = std::strlen(asChars(end));
    if (std::memchr(end, escapeMark, length) == nullptr) return end + length;
  }
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
  Byte* start = tokenText.bytes;
  Byte* end = endOfBody();
  while (*start == ' ' || *start == '\t') ++start;
  while (end > start && (end[-1] == ' ' || end[-1] == '\t' || end[-1] == endOfBodyMark)) --end;
  *end = 0;
  if (end == start) start = end = tokenText.bytes;
  *end = 0;
  return {start, uint32_t(end - start)};
}

// --- The store ---

// Bytes that the names of `parameters` take after a record.
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
  noteSpecialName(entry->spelling(), entry->nameLength);
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

// Stores a macro under `name`, or judges a redefinition. The body is
// macroBodyLength bytes with a NUL after them.
static void storeMacro(const Name& name, Byte paramByte, const ParameterNode* parameters, const Byte* body,
                       DefinitionOrigin origin) {
  IdentEntry* const entry = findEntry(name);
  if (optionImage.showDefines) noteDefinition("/* define ", entry);
  const bool names = optionImage.languageLevel == levelAnsi && paramByte != 0 && paramByte != objectLike;
  const uint32_t extra = names ? sizeOfNames(parameters) : 0;
  if (entry->isMacro()) {
    if (isSameRecord(entry->macroBody, paramByte, parameters, names, body)) {
      if (explaining) [[unlikely]]
        explainStoredMacro(origin, entry, paramByte, parameters, body, true);
      return;
    }
    reportWarning(warnRedefinition, entry->spelling());
  }
  if (explaining) [[unlikely]]
    explainStoredMacro(origin, entry, paramByte, parameters, body, false);
  writeRecord(entry, paramByte, parameters, extra, body);
}

void defineMacroText(const Byte* body, const Byte* name, DefinitionOrigin origin) {
  const Name defined = nameOf(name);
  // A name that is empty, or too long for its length field, is never met in a source.
  if (defined.length == 0 || defined.length > nameLengthLimit) return;
  macroBodyLength = uint32_t(std::strlen(asChars(body)));
  storeMacro(defined, objectLike, nullptr, body, origin);
}

// --- #define ---

// The definition being read.
struct Definition {
  Name name;  // its bytes stand in `nameText`
  Byte nameText[nameBufferSize];
  Byte paramByte;
  ParameterNode* parameters;  // the last one first
  uint32_t parameterCount;
};

static void addParameter(Definition& definition, const Name& name) {
  // With more parameters than there are codes there will be no macro.
  if (definition.parameterCount > uint32_t(parameterLimit)) return;
  if (findParameter(definition.parameters, name) >= 0) reportError(msgMultipleDeclaration, name.text);
  ParameterNode* const node = new (memAlloc(uint32_t(sizeof(ParameterNode)) + name.length)) ParameterNode;
  node->next = definition.parameters;
  node->hash = name.hash;
  node->length = name.length;
  std::memcpy(node->name, name.text, name.length + 1);
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
    if (!isNameByte(c)) {
      reportError(msgArgumentSyntax);
      skipLine(c);
      return false;
    }
    const Name name = readMacroName(c);
    addParameter(definition, name);
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
// parameter, round to count from the first. False if a '#' stands before anything
// but a parameter.
static bool numberParameters(const Definition& definition) {
  const int last = int(definition.parameterCount) - 1;
  // With one parameter there is nothing to turn round.
  if (fastPaths && last == 0 &&
      std::memchr(tokenText.bytes, stringizeMark, size_t(endOfBody() - tokenText.bytes)) == nullptr)
    return true;
  for (Byte* text = tokenText.bytes; *text != 0; ++text) {
    if (*text < firstParameter) continue;
    if (isParameter(*text)) {
      *text = Byte(firstParameter + last - (*text - firstParameter));
    } else if (*text == stringizeMark && !isParameter(text[1])) {
      reportError(msgBadDirectiveSyntax, "define");
      return false;
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
  tokenText.rewind();
  readBodyTokens(definition.parameters, false);
  return numberParameters(definition);
}

// Reads what stands after the name; `c` is the byte there. False if there is no
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
  storeMacro(definition.name, definition.paramByte, definition.parameters, start, definedInSource);
}

void defineDirective(Byte c) {
  if (!isNameStart(c)) {
    reportError(msgDefineNeedsName);
    skipLine(c);
    return;
  }
  Definition definition;
  definition.name = readName(c, definition.nameText, identLimit);
  definition.parameters = nullptr;
  definition.parameterCount = 0;
  c = nextChar();
  if (isProtectedName(definition.name)) reportError(msgBadDirectiveSyntax, "define");
  if (readDefinition(c, definition)) storeDefinition(definition);
  freeParameters(definition.parameters);
  tokenText.rewind();
}

// --- #undef ---

void undefDirective(Byte c) {
  if (!isNameStart(c)) {
    reportError(msgBadDirectiveSyntax, "undef");
    skipLine(c);
    return;
  }
  const Name name = readMacroName(c);
  checkLineEnd(c);
  if (isProtectedName(name)) {
    reportError(msgBadDirectiveSyntax, "undef");
    return;
  }
  IdentEntry* const entry = findEntry(name);
  if (explaining) [[unlikely]]
    if (isExplained(name.text, name.length)) explainUndefinition(entry->isMacro());
  entry->macroBody = noMacro;
  if (optionImage.showDefines) noteDefinition("/* undef ", entry);
}

// --- Definitions of the command line ---

// The encoded form of a value, in a block of its own.
static Byte* encodeValue(const char* value) {
  const size_t length = std::strlen(value);
  Byte* const encoded = static_cast<Byte*>(memAlloc(uint32_t(2 * length + 2)));
  Byte* target = encoded;
  for (size_t i = 0; i < length; ++i) {
    const Byte c = Byte(value[i]);
    if (c >= firstParameter) *target++ = escapeMark;
    *target++ = c;
  }
  *target++ = endOfBodyMark;
  *target = 0;
  return encoded;
}

void installCommandDefines() {
  for (const CommandDefine* node = commandDefines; node != nullptr; node = node->next) {
    Byte* const body = encodeValue(node->value);
    defineMacroText(body, asBytes(node->name), definedOnCommandLine);
    memFree(body);
  }
}
