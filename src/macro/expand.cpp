// Macro calls: what a name does, the arguments, and the control bytes of macro
// text at the time that they are read.
//
// Arguments are collected in tokenText, which works as a stack: each level
// appends at tokenTextPtr, and gives the space back when it has copied its
// result into a node. A name that is no macro when it is collected is marked, so
// that it stays as it is for the rest of its life in that argument.

#include "macro/expand.h"

#include <cstring>
#include <new>

#include "diag/report.h"
#include "input/guard.h"
#include "input/multibyte.h"
#include "macro/define.h"
#include "macro/macro_text.h"
#include "macro/predefined.h"
#include "memory/memory.h"
#include "options/option_image.h"
#include "scanner/char_class.h"
#include "scanner/literals.h"
#include "scanner/scan.h"

// Called from here, defined later:
#include "directive/directives.h"

constinit bool noExpandMark = false;
constinit bool pasteSeen = false;
constinit bool plainIdent = false;
constinit MacroFrame* freeMacroFrames = nullptr;

// Where the expanded text of the innermost argument begins, while it is made.
static constinit Byte* expansionStart = nullptr;

constexpr int identStands = -1;

void resetExpansion() {
  noExpandMark = false;
  pasteSeen = false;
  plainIdent = false;
  expansionStart = nullptr;
}

// --- Frames of macro text ---

// Bytes of `text` in front of the first control byte. A Ctrl-Z counts as one
// behind the first stretch only.
VSP_INLINE uint32_t plainStretch(const Byte* text, bool first) {
  const Byte* end = text;
  while (*end != 0 && *end < 0x80 && (first || *end != endOfTextByte)) ++end;
  return uint32_t(end - text);
}

static void pushMacroFrame(IdentEntry* entry, const Byte* body, const Byte* text, ArgumentNode* arguments) {
  MacroFrame* frame = freeMacroFrames;
  if (frame != nullptr) {
    freeMacroFrames = static_cast<MacroFrame*>(frame->previous);
  } else {
    frame = new (memAlloc(sizeof(MacroFrame))) MacroFrame;
    frame->kind = frameMacro;
  }
  frame->hiddenEntry = entry;
  frame->savedBody = body;
  frame->arguments = arguments;
  frame->position = 0;
  frame->buffer = text;
  frame->length = plainStretch(text, true);
  pushFrame(frame);
}

void pushMacroText(IdentEntry* entry, const Byte* text, ArgumentNode* arguments) {
  if (entry != nullptr) entry->macroBody = noMacro;
  pushMacroFrame(entry, text - 1, text, arguments);
}

static void pushArgumentText(const Byte* text) {
  pushMacroFrame(nullptr, nullptr, text, nullptr);
}

// A string that nobody has read yet may still want the text of an argument that
// is about to go: the expressions of directives leave such strings behind.
VSP_COLD static void keepPendingText(const ArgumentNode* node) {
  const Byte* const end = node->rawText + node->rawLength;
  if (pendingText >= node->rawText && pendingText <= end)
    pendingText = asBytes(memCopy(asChars(pendingText), size_t(end - pendingText)));
}

static void freeArguments(ArgumentNode* node) {
  while (node != nullptr) {
    ArgumentNode* const next = node->next;
    if (pendingText != nullptr) keepPendingText(node);
    memFree(node->rawText - 1);
    memFree(node);
    node = next;
  }
}

void endMacroFrame(MacroFrame* frame) {
  if (frame->hiddenEntry != nullptr) frame->hiddenEntry->macroBody = frame->savedBody;
  freeArguments(frame->arguments);
  popFrame();
  frame->previous = freeMacroFrames;
  freeMacroFrames = frame;
}

// Node number `p` of a call; a call has as many nodes as its macro parameters.
static ArgumentNode* argumentOf(const MacroFrame* frame, Byte parameter) {
  ArgumentNode* node = frame->arguments;
  for (int p = parameter - firstParameter; p > 0 && node != nullptr; --p) node = node->next;
  return node;
}

// Makes the text behind `skipped` bytes the frame's new stretch.
static void advanceStretch(MacroFrame* frame, const Byte* text) {
  frame->buffer = text;
  frame->position = 0;
  frame->length = plainStretch(text, false);
  if (inputTop == frame) {
    inputCursor = text;
    inputLimit = text + frame->length;
  }
}

int macroTextEnd(MacroFrame* frame) {
  static const Byte quote[] = "\"";
  const Byte* const control = inputLimit;
  const Byte code = control[0];
  const Byte next = control[1];
  const Byte* rest = control + 1;
  int result = -1;
  const Byte* pushed = nullptr;
  bool string = false;
  switch (code) {
    case escapeMark:
      ++rest;
      if (next != 0) result = next;
      break;
    case pasteMark:
      pasteSeen = true;
      if (isParameter(next)) {
        ++rest;
        if (const ArgumentNode* const node = argumentOf(frame, next)) pushed = node->rawText;
      }
      break;
    case stringizeMark:
      if (isParameter(next)) {
        ++rest;
        if (const ArgumentNode* const node = argumentOf(frame, next)) {
          pendingText = node->rawText;
          string = true;
        }
      }
      break;
    case noExpandCode: noExpandMark = true; break;
    case endOfBodyMark: result = endOfBodyMark; break;
    case endOfTextByte:
      if (frame->savedBody != nullptr) result = endOfTextByte;
      break;
    default:
      if (const ArgumentNode* const node = argumentOf(frame, code))
        pushed = next == pasteMark ? node->rawText : node->expandedText;
      break;
  }
  advanceStretch(frame, rest);
  if (pushed != nullptr) pushArgumentText(pushed);
  if (string) pushTextFrame(quote, 1);
  return result;
}

// --- Arguments ---

// Takes the name of `length` bytes at tokenTextPtr into the text, with a mark in
// front of it if `marked` and if there is room.
static void takeName(uint32_t length, bool marked) {
  if (marked && tokenTextPtr + length < tokenTextEnd()) {
    std::memmove(tokenTextPtr + 1, tokenTextPtr, length);
    *tokenTextPtr++ = noExpandCode;
  }
  tokenTextPtr += length;
  *tokenTextPtr = 0;
}

// A name inside an argument. One that begins with "__" stays unmarked, which
// keeps the dynamic names working.
static void collectName(Byte c, bool afterBackslash) {
  scanIdentifier(c);
  const Byte* const name = tokenTextPtr;
  const IdentEntry* const entry = findIdentEntry(name);
  const bool reserved = name[0] == '_' && name[1] == '_';
  takeName(identLength, entry->macroBody == noMacro && !reserved && !afterBackslash);
}

// The byte behind one that takes the next along, whatever that is. A line end of
// two bytes is one: it is counted when the argument's text is read.
static Byte nextTakenByte() {
  const Byte c = nextChar();
  if (isLineEnd(c)) passPairedLineEnd(c);
  return c;
}

// Any byte of an argument with no meaning of its own. `afterBackslash` keeps a name
// from being marked.
static void collectOther(Byte c, bool afterBackslash) {
  if (noExpandMark) {
    bufPutChar(noExpandCode);
    noExpandMark = false;
  }
  if (isNameStart(c)) {
    if (c == 'L') {
      const Byte d = nextChar();
      ungetChar();
      if (d == '"' || d == '\'') {
        bufPutChar(c);
        return;
      }
    }
    collectName(c, afterBackslash);
  } else if (isLeadByte(c)) {
    appendCopied(c);
    appendCopied(nextTakenByte());
  } else {
    appendCopied(c);
  }
}

// Reads one argument's text as it is written, up to the ',' or ')' that ends it
// or to the end of the text; returns that byte.
static Byte collectRawText() {
  int depth = 0;
  bool afterBackslash = false;
  *tokenTextPtr = 0;
  for (;;) {
    Byte c = nextChar();
    const bool marked = afterBackslash;
    afterBackslash = false;
    switch (c) {
      case '(':
        ++depth;
        bufPutChar(c);
        break;
      case ')':
        if (depth == 0) return c;
        --depth;
        bufPutChar(c);
        break;
      case ',':
        if (depth == 0) return c;
        bufPutChar(c);
        break;
      case '"':
      case '\'': copyLiteral(true, bufPutEscaped, c); break;
      case '\n':
      case '\r':
        countNewline(c);
        appendBlank();
        break;
      case ' ':
      case '\t': appendBlank(); break;
      case '/':
        if (passComment())
          appendBlank();
        else
          bufPutChar(c);
        break;
      case '\\':
        if (passSplice()) {
          appendBlank();
        } else {
          bufPutChar(c);
          afterBackslash = true;
        }
        break;
      case endOfTextByte: return c;
      case noExpandCode:
      case endOfBodyMark: bufPutChar(c); break;
      case escapeMark:
        c = nextTakenByte();
        collectOther(c, marked);
        break;
      default: collectOther(c, marked); break;
    }
  }
}

// The two texts of one argument. The expanded one stands at tokenTextPtr.
struct CollectedArgument {
  Byte terminator;  // ',', ')' or the end-of-text byte
  Byte* rawText;    // in a block with a NUL in front; null at the end of text
  uint32_t rawLength;
  bool cut;         // the buffer was full before the text ended
  Byte* expanded;   // without blanks at its ends
  uint32_t length;  // of the expanded text
};

// Copies the raw text that ends at tokenTextPtr, without spaces at its ends, to
// a block of its own, with a NUL in front and the end-of-text byte behind.
static void keepRawText(const Byte* start, CollectedArgument& argument) {
  const Byte* end = tokenTextPtr;
  while (start < end && *start == ' ') ++start;
  while (end > start && end[-1] == ' ') --end;
  const uint32_t length = uint32_t(end - start);
  Byte* const block = static_cast<Byte*>(memAlloc(length + 3));
  block[0] = 0;
  std::memcpy(block + 1, start, length);
  block[length + 1] = endOfTextByte;
  block[length + 2] = 0;
  argument.rawText = block + 1;
  argument.rawLength = length;
}

// True if expanding `text` can change nothing: every name in it is marked, every
// mark belongs to a name, and no other byte means anything to the copying
// scanner. Most arguments are so.
static bool expandsToItself(const Byte* text, uint32_t length) {
  bool marked = false;
  for (const Byte* const end = text + length; text < end; ++text) {
    const Byte c = *text;
    if (c == noExpandCode) {
      marked = true;
      continue;
    }
    const signed char entry = copyClass[c];
    if (marked != (entry == classLetter)) return false;
    if (marked) {
      while (hashStep[text[1]] != 0) ++text;
    } else if (entry == classDigit) {
      // A name that begins inside a number loses its mark.
      while (isDigit(text[1])) ++text;
      if (text[1] == noExpandCode || text[1] == '.' || hashStep[text[1]] != 0) return false;
    } else if (entry != classCopy || c == 0 || c >= 0x80) {
      return false;
    }
    marked = false;
  }
  return !marked;
}

// True if the frame that reads `raw` is still on the stack.
static bool isBeingRead(const InputFrame* frame, const Byte* raw) {
  const InputFrame* on = inputTop;
  while (on != nullptr && on != frame) on = on->previous;
  return on != nullptr && static_cast<const MacroFrame*>(on)->savedBody == raw - 1;
}

// Ends a text above the argument's own that has met its end-of-text byte: a file
// that a directive in the argument included, or a body that holds that byte.
VSP_COLD static void endInnerText() {
  if (inputTop->kind == frameMacro)
    endMacroFrame(static_cast<MacroFrame*>(inputTop));
  else
    popSourceFile(false);
}

// A token other than a name has come while `frame` reads `raw`: the end of a text,
// which arrives as a comma, or a line end. True if the argument ends here; its
// frame is then gone. May change the input stack.
static bool endsArgument(TokenCode code, InputFrame* frame, const Byte* raw) {
  if (code == tokEndOfLine && !lineMode) {
    // Behind an unterminated literal: the line end is still to be counted.
    ungetChar();
    return false;
  }
  if (!isBeingRead(frame, raw)) {
    // The reader has left the text, as a comment without an end makes it: the
    // byte in hand is for others to read.
    if (inputTop != nullptr) ungetChar();
    return true;
  }
  if (code == tokEndOfLine) {
    // A line end that belongs to the argument does not end the directive's line.
    countNewline(inputCursor[-1]);
    return false;
  }
  if (inputTop != frame) {
    endInnerText();
    // The line of the directive that included a file reaches to the argument's end.
    if (inputTop != frame || *inputCursor != 0) return false;
  }
  endMacroFrame(static_cast<MacroFrame*>(frame));
  return true;
}

// Expands the raw text by reading it with copyClass in force, which leaves the
// result at tokenTextPtr.
static void scanRawText(const CollectedArgument& argument) {
  Byte* const raw = argument.rawText;
  pushMacroText(nullptr, raw, nullptr);
  InputFrame* const frame = inputTop;
  const ClassTable* const outerClass = activeClass;
  Byte* const outerStart = expansionStart;
  activeClass = &copyClass;
  expansionStart = tokenTextPtr;
  for (;;) {
    const TokenCode code = scanToken();
    if (code == tokIdent)
      takeName(identLength, plainIdent);
    else if (endsArgument(code, frame, raw))
      break;
  }
  activeClass = outerClass;
  expansionStart = outerStart;
  // A line end that the text has taken along is counted now. Where the macro reads
  // the raw text again, it must neither count once more nor begin a directive.
  for (Byte* c = raw; c < raw + argument.rawLength; ++c)
    if (isLineEnd(*c)) *c = ' ';
}

// The same for a text that expands to itself. What scanning the text leaves
// besides is the position of the token at its end.
static void copyRawText(const CollectedArgument& argument) {
  std::memcpy(tokenTextPtr, argument.rawText, argument.rawLength);
  tokenTextPtr += argument.rawLength;
  *tokenTextPtr = 0;
  tokenState.code = tokComma;
  tokenState.line = currentLine;
  tokenState.file = currentFileIndex;
}

// Makes the expanded text of an argument, at tokenTextPtr.
static void expandRawText(const CollectedArgument& argument) {
  if (expandsToItself(argument.rawText, argument.rawLength))
    copyRawText(argument);
  else
    scanRawText(argument);
  noExpandMark = false;
  if (argument.cut || tokenTextPtr >= tokenTextEnd()) reportError(msgExpansionTooLong);
  // The byte behind the argument is looked at and stepped back over: marks in
  // front of it are taken here.
  nextChar();
  ungetChar();
}

void runDirectiveInArgument() {
  Byte* const start = expansionStart;
  const size_t outerLength = size_t(start - tokenText);
  char* const outer = memCopy(asChars(tokenText), outerLength);
  processDirective(false, true);
  // The line may have been a definition, whose reader leaves tokenClass in force.
  activeClass = &copyClass;
  std::memcpy(tokenText, outer, outerLength);
  memFree(outer);
  tokenTextPtr = start;
  *start = 0;
}

// Takes spaces and tabs off the ends of the expanded text.
static void trimExpanded(CollectedArgument& argument) {
  while (argument.length != 0 && (*argument.expanded == ' ' || *argument.expanded == '\t')) {
    ++argument.expanded;
    --argument.length;
  }
  while (argument.length != 0) {
    const Byte last = argument.expanded[argument.length - 1];
    if (last != ' ' && last != '\t') break;
    --argument.length;
  }
}

// Reads one argument, with its expansion. tokenTextPtr comes back to where it
// was, and the expanded text stands there.
static CollectedArgument collectArgument() {
  Byte* const start = tokenTextPtr;
  CollectedArgument argument{collectRawText(), nullptr, 0, false, start, 0};
  if (argument.terminator == endOfTextByte) {
    // The scanner must meet the end of the text once more, for the file or the
    // argument that ends there to end.
    ungetChar();
    tokenTextPtr = start;
    messageLine = tokenState.line;
    reportError(msgExpansionTooLong);
    return argument;
  }
  argument.cut = tokenTextPtr >= tokenTextEnd();
  keepRawText(start, argument);
  tokenTextPtr = start;
  *start = 0;
  expandRawText(argument);
  argument.length = uint32_t(tokenTextPtr - start);
  tokenTextPtr = start;
  argument.rawText[argument.rawLength] = 0;
  trimExpanded(argument);
  return argument;
}

static ArgumentNode* makeArgumentNode(const CollectedArgument& argument) {
  ArgumentNode* const node =
      new (memAlloc(uint32_t(offsetof(ArgumentNode, expandedText)) + argument.length + 1)) ArgumentNode;
  node->next = nullptr;
  node->rawText = argument.rawText;
  node->rawLength = argument.rawLength;
  std::memcpy(node->expandedText, argument.expanded, argument.length);
  node->expandedText[argument.length] = 0;
  return node;
}

// --- Calls ---

// Passes what may stand between a macro's name and its '(': in a directive's
// line only blanks and comments, elsewhere line ends too. Returns the byte in
// hand.
static Byte findOpenParen() {
  Byte c = skipSpace();
  while (!lineMode && isLineEnd(c)) {
    countNewline(c);
    c = skipSpace();
  }
  return c;
}

// Reads the arguments behind the '(' of a call into `list`. True if there are
// `count` of them.
static bool collectArguments(int count, ArgumentNode*& list) {
  const bool first = skipSpace() != ')';
  ungetChar();
  ArgumentNode** tail = &list;
  int remaining = count;
  for (;;) {
    const CollectedArgument argument = collectArgument();
    if (argument.terminator == endOfTextByte) return false;
    if (argument.length == 0 && argument.terminator == ')' && !first) {
      memFree(argument.rawText - 1);
      break;
    }
    *tail = makeArgumentNode(argument);
    tail = &(*tail)->next;
    --remaining;
    if (argument.terminator == ')') break;
  }
  return remaining == 0;
}

// Runs a call of the macro `entry`. False if the name is not followed by '(',
// and so is no call.
static bool expandMacro(IdentEntry* entry) {
  const Byte* const record = entry->macroBody;
  if (*record == objectLike) {
    pushMacroText(entry, record + 1, nullptr);
    return true;
  }
  if (findOpenParen() != '(') {
    static const Byte blank[] = " ";
    ungetChar();
    pushTextFrame(blank, 1);
    return false;
  }
  ArgumentNode* arguments = nullptr;
  if (!collectArguments(*record & parameterCountMask, arguments)) {
    freeArguments(arguments);
    errorIdent(msgArgumentCount, entry);
    return true;
  }
  pushMacroText(entry, record + 1, arguments);
  return true;
}

// The `defined` operator, behind its name: reads the name that it asks for
// straight from the input, so that no macro expands. Returns '0' or '1'.
static Byte definedOperator() {
  Byte c = skipSpace();
  const bool parenthesis = c == '(';
  if (parenthesis) c = skipSpace();
  if (!isNameStart(c)) {
    reportError(msgExpressionSyntax);
    // The byte that failed stays consumed, a line end too; but the end of an
    // argument's text is for the reader of that text.
    if (c == endOfTextByte && inputTop != nullptr && inputTop->kind == frameMacro) ungetChar();
    return '0';
  }
  readMacroName(c);
  ungetChar();
  const uint32_t hash = identHash;
  const uint32_t length = identLength;
  if (notDefinedArmed) notDefinedEntry = findIdentEntry(macroNameBuffer);
  if (parenthesis && skipSpace() != ')') {
    reportError(msgExpressionSyntax);
    ungetChar();
  }
  identHash = hash;
  identLength = length;
  return isIdentDefined(macroNameBuffer) ? '1' : '0';
}

static bool isDefinedWord(const Byte* name) {
  return identLength == 7 && std::memcmp(name, "defined", 7) == 0;
}

int checkMacro() {
  const Byte* const name = tokenTextPtr;
  const bool marked = noExpandMark;
  noExpandMark = false;
  plainIdent = false;
  if (marked && !pasteSeen) {
    currentIdent = findIdentEntry(name);
    plainIdent = true;
    return identStands;
  }
  if (name[0] == '_' && name[1] == '_') {
    const int index = reservedNameIndex(name, identLength);
    if (index != 0) return expandDynamicName(index);
  }
  if (lineMode && isDefinedWord(name)) return definedOperator();
  IdentEntry* const entry = findIdentEntry(name);
  currentIdent = entry;
  if (entry->macroBody == noMacro) {
    plainIdent = true;
    return identStands;
  }
  return expandMacro(entry) ? 0 : identStands;
}
