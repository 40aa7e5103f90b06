// Macro calls: what a name does, the arguments, and the control bytes of macro
// text at the time that they are read.
//
// Arguments are collected in tokenText, which works as a stack: each level
// appends at its end, and gives the space back when it has copied its
// result into a node. A name that is no macro when it is collected is marked, so
// that it stays as it is for the rest of its life in that argument.

#include <array>
#include <cstring>
#include <new>

#include "diag/position.h"
#include "diag/report.h"
#include "input/guard.h"
#include "input/macro_frames.h"
#include "input/macro_text.h"
#include "macro/define.h"
#include "macro/explain_macro.h"
#include "macro/predefined.h"
#include "memory/memory.h"
#include "options/lead_bytes.h"
#include "scanner/char_class.h"
#include "scanner/literals.h"
#include "scanner/read_name.h"
#include "scanner/scan.h"
#include "scanner/skip.h"
#include "scanner/state.h"
#include "scanner/token_text.h"
#include "scanner/upcalls.h"

// Where the expanded text of the innermost argument begins, while it is made.
static constinit Byte* expansionStart = nullptr;

// --- Arguments ---

// Takes the name of `length` bytes at the end of tokenText into the text, with a mark in
// front of it if `marked` and if there is room.
static void takeName(uint32_t length, bool marked) {
  if (marked && length < tokenText.room()) {
    std::memmove(tokenText.end + 1, tokenText.end, length);
    *tokenText.end++ = noExpandCode;
  }
  tokenText.keep(length);
}

// A name inside an argument. One that begins with "__" stays unmarked, which
// keeps the dynamic names working.
static void collectName(Byte c, bool afterBackslash) {
  const Name name = scanIdentifier(c);
  const IdentEntry* const entry = findEntry(name);
  const bool reserved = name.text[0] == '_' && name.text[1] == '_';
  takeName(name.length, !entry->isMacro() && !reserved && !afterBackslash);
}

// The byte after one that takes the next along, whatever that is. A line end of
// two bytes is one: it is counted when the argument's text is read.
static Byte nextTakenByte() {
  const Byte c = nextChar();
  if (isLineEnd(c)) passPairedLineEnd(c);
  return c;
}

// Any byte of an argument with no meaning of its own. `afterBackslash` keeps a name
// from being marked.
static void collectOther(Byte c, bool afterBackslash) {
  if (input.noExpandMark) {
    tokenText.append(noExpandCode);
    input.noExpandMark = false;
  }
  if (isNameStart(c)) {
    if (c == 'L') {
      const Byte d = nextChar();
      ungetChar();
      if (d == '"' || d == '\'') {
        tokenText.append(c);
        return;
      }
    }
    collectName(c, afterBackslash);
  } else if (isLeadByte(c)) {
    tokenText.appendEscaped(c);
    tokenText.appendEscaped(nextTakenByte());
  } else {
    tokenText.appendEscaped(c);
  }
}

// What a byte means to the reader of an argument's text.
enum ArgumentByte : Byte {
  argumentOther,      // a name, a double-byte character, or copied as it stands
  argumentOpen,       // '('
  argumentClose,      // ')'
  argumentComma,      // ','
  argumentQuote,      // a quote of either kind
  argumentBlank,      // a space or tab
  argumentLineEnd,    // CR and LF
  argumentSlash,      // '/', perhaps of a comment
  argumentBackslash,  // '\\', perhaps of a splice
  argumentMark,       // a control byte that is kept
  argumentEscape,     // the escape: the byte after it is an ordinary one
  argumentEnd         // Ctrl-Z
};

constexpr std::array<Byte, 256> argumentBytes = [] {
  std::array<Byte, 256> table{};
  table['('] = argumentOpen;
  table[')'] = argumentClose;
  table[','] = argumentComma;
  table['"'] = table['\''] = argumentQuote;
  table[' '] = table['\t'] = argumentBlank;
  table['\r'] = table['\n'] = argumentLineEnd;
  table['/'] = argumentSlash;
  table['\\'] = argumentBackslash;
  table[noExpandCode] = table[endOfBodyMark] = argumentMark;
  table[escapeMark] = argumentEscape;
  table[endOfTextByte] = argumentEnd;
  return table;
}();

// A backslash in an argument. True if it stands for itself and not for a splice.
static bool collectBackslash() {
  if (passSplice()) {
    tokenText.appendBlank();
    return false;
  }
  tokenText.append('\\');
  return true;
}

// Reads one argument's text as it is written, up to the ',' or ')' that ends it
// or to the end of the text; returns that byte.
static Byte collectRawText() {
  int depth = 0;
  bool afterBackslash = false;
  *tokenText.end = 0;
  for (;;) {
    const Byte c = nextChar();
    const bool marked = afterBackslash;
    afterBackslash = false;
    switch (argumentBytes[c]) {
      case argumentOpen:
        ++depth;
        tokenText.append(c);
        break;
      case argumentClose:
        if (depth == 0) return c;
        --depth;
        tokenText.append(c);
        break;
      case argumentComma:
        if (depth == 0) return c;
        tokenText.append(c);
        break;
      case argumentQuote: copyLiteral(true, appendLiteralByte, c); break;
      case argumentLineEnd: countNewline(c); [[fallthrough]];
      case argumentBlank: tokenText.appendBlank(); break;
      case argumentSlash:
        if (passComment())
          tokenText.appendBlank();
        else
          tokenText.append(c);
        break;
      case argumentBackslash: afterBackslash = collectBackslash(); break;
      case argumentMark: tokenText.append(c); break;
      case argumentEscape: collectOther(nextTakenByte(), marked); break;
      case argumentEnd: return c;
      default: collectOther(c, marked); break;
    }
  }
}

// The two texts of one argument. The expanded one stands at the end of tokenText.
struct CollectedArgument {
  Byte terminator;  // ',', ')' or the end-of-text byte
  Byte* rawText;    // in a block with a NUL in front; null at the end of text
  uint32_t rawLength;
  bool cut;         // the buffer was full before the text ended
  Byte* expanded;   // without blanks at its ends
  uint32_t length;  // of the expanded text
};

// Copies the raw text that ends at the end of tokenText, without spaces at its ends, to
// a block of its own, with a NUL before it and the end-of-text byte after it.
static void keepRawText(const Byte* start, CollectedArgument& argument) {
  const Byte* end = tokenText.end;
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
  if constexpr (!fastPaths) return false;
  bool marked = false;
  for (const Byte* const end = text + length; text < end; ++text) {
    const Byte c = *text;
    if (c == noExpandCode) {
      marked = true;
      continue;
    }
    const Byte entry = copyClass[c];
    if (marked != (entry == classLetter)) return false;
    if (marked) {
      while (isNameByte(text[1])) ++text;
    } else if (entry == classDigit) {
      // A name that begins inside a number loses its mark.
      while (isDigit(text[1])) ++text;
      if (text[1] == noExpandCode || text[1] == '.' || isNameByte(text[1])) return false;
    } else if (entry != classCopy || c == 0 || c >= firstParameter) {
      return false;
    }
    marked = false;
  }
  return !marked;
}

// True if the frame that reads `raw` is still on the stack.
static bool isBeingRead(const InputFrame* frame, const Byte* raw) {
  const InputFrame* on = input.top;
  while (on != nullptr && on != frame) on = on->previous;
  return on != nullptr && static_cast<const MacroFrame*>(on)->savedBody == raw - 1;
}

// Ends a text above the argument's own that has met its end-of-text byte: a file
// that a directive in the argument included, or a body that holds that byte.
VSP_COLD static void endInnerText() {
  if (input.top->kind == frameMacro)
    endMacroFrame(static_cast<MacroFrame*>(input.top));
  else
    popSourceFile(false);
}

// A token other than a name has come while `frame` reads `raw`: the end of a text,
// which arrives as a comma, or a line end. True if the argument ends here; its
// frame is then gone. May change the input stack.
static bool endsArgument(TokenCode code, InputFrame* frame, const Byte* raw) {
  if (code == tokEndOfLine && !scanner.lineMode) {
    // After an unterminated literal: the line end is still to be counted.
    ungetChar();
    return false;
  }
  if (!isBeingRead(frame, raw)) {
    // The reader has left the text, as a comment without an end makes it: the
    // byte read last is for others to read.
    if (input.top != nullptr) ungetChar();
    return true;
  }
  if (code == tokEndOfLine) {
    // A line end that belongs to the argument does not end the directive's line.
    countNewline(input.cursor[-1]);
    return false;
  }
  if (input.top != frame) {
    endInnerText();
    // The line of the directive that included a file reaches to the argument's end.
    if (input.top != frame || *input.cursor != 0) return false;
  }
  endMacroFrame(static_cast<MacroFrame*>(frame));
  return true;
}

// Runs a directive that begins a line inside an argument that is being expanded. It
// takes the text buffer from its start: what the arguments around have collected
// there comes back, what the argument itself has collected is gone. copyClass stays
// in force, so a condition sees names and nothing else. May change the input stack.
VSP_COLD static void runDirectiveInArgument() {
  if (tryingCall) return;
  Byte* const start = expansionStart;
  const size_t outerLength = size_t(start - tokenText.bytes);
  char* const outer = memCopy(asChars(tokenText.bytes), outerLength);
  runDirective();
  // The line may have been a definition, whose reader leaves tokenClass in force.
  scanner.activeClass = &copyClass;
  std::memcpy(tokenText.bytes, outer, outerLength);
  memFree(outer);
  tokenText.release(start);
  *start = 0;
}

// Expands the raw text by reading it with copyClass in force, which leaves the
// result at the end of tokenText.
static void scanRawText(const CollectedArgument& argument) {
  Byte* const raw = argument.rawText;
  pushMacroText(nullptr, raw, nullptr);
  InputFrame* const frame = input.top;
  const ClassTable* const outerClass = scanner.activeClass;
  Byte* const outerStart = expansionStart;
  scanner.activeClass = &copyClass;
  expansionStart = tokenText.end;
  for (;;) {
    const TokenCode code = getToken();
    if (code == tokIdent)
      takeName(scanner.scannedName.length, scanner.plainIdent);
    else if (code == tokDirective)
      runDirectiveInArgument();
    else if (endsArgument(code, frame, raw))
      break;
  }
  scanner.activeClass = outerClass;
  expansionStart = outerStart;
  // A line end that the text has taken along is counted now. Where the macro reads
  // the raw text again, it must neither count once more nor begin a directive.
  for (Byte* c = raw; c < raw + argument.rawLength; ++c)
    if (isLineEnd(*c)) *c = ' ';
}

// The same for a text that expands to itself. What scanning the text leaves
// besides is the position of the token at its end.
static void copyRawText(const CollectedArgument& argument) {
  std::memcpy(tokenText.end, argument.rawText, argument.rawLength);
  tokenText.keep(argument.rawLength);
  tokenState.code = tokComma;
  tokenState.line = currentLine;
}

// Makes the expanded text of an argument, at the end of tokenText.
static void expandRawText(const CollectedArgument& argument) {
  if (expandsToItself(argument.rawText, argument.rawLength))
    copyRawText(argument);
  else
    scanRawText(argument);
  input.noExpandMark = false;
  if (argument.cut || tokenText.isFull()) reportError(msgExpansionTooLong);
  // The byte after the argument is looked at and stepped back over: marks in
  // front of it are taken here.
  nextChar();
  ungetChar();
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

// Reads one argument, with its expansion. The end of tokenText is moved back to where it
// was, and the expanded text stands there.
static CollectedArgument collectArgument() {
  Byte* const start = tokenText.end;
  CollectedArgument argument{collectRawText(), nullptr, 0, false, start, 0};
  if (argument.terminator == endOfTextByte) {
    // The scanner must meet the end of the text once more, for the file or the
    // argument that ends there to end.
    ungetChar();
    tokenText.release(start);
    messageLine = tokenState.line;
    reportError(msgExpansionTooLong);
    return argument;
  }
  argument.cut = tokenText.isFull();
  keepRawText(start, argument);
  tokenText.release(start);
  *start = 0;
  expandRawText(argument);
  argument.length = uint32_t(tokenText.end - start);
  tokenText.release(start);
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
  while (!scanner.lineMode && isLineEnd(c)) {
    countNewline(c);
    c = skipSpace();
  }
  return c;
}

// Reads the arguments after the '(' of a call into `list`. True if there are
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
  const int32_t line = currentLine;
  if (*record == objectLike) {
    if (explaining) [[unlikely]]
      explainCall(entry, nullptr, line);
    pushMacroText(entry, record + 1, nullptr);
    return true;
  }
  if (findOpenParen() != '(') {
    static const Byte blank[] = " ";
    ungetChar();
    if (explaining) [[unlikely]]
      explainFailedCall(entry, " is not followed by '(', and stands", line);
    pushTextFrame(blank, 1);
    return false;
  }
  ArgumentNode* arguments = nullptr;
  if (!collectArguments(*record, arguments)) {
    freeArguments(arguments);
    if (explaining) [[unlikely]]
      explainFailedCall(entry, " has a wrong number of arguments, and becomes nothing", line);
    reportError(msgArgumentCount, entry->spelling());
    return true;
  }
  if (explaining) [[unlikely]]
    explainCall(entry, arguments, line);
  pushMacroText(entry, record + 1, arguments);
  return true;
}

// The `defined` operator, after its name: reads the name that it asks for
// straight from the input, so that no macro expands. Returns '0' or '1'.
static Byte definedOperator() {
  Byte c = skipSpace();
  const bool parenthesis = c == '(';
  if (parenthesis) c = skipSpace();
  if (!isNameStart(c)) {
    reportError(msgExpressionSyntax);
    // The byte that failed stays consumed, a line end too; but the end of an
    // argument's text is for the reader of that text.
    if (c == endOfTextByte && input.top != nullptr && input.top->kind == frameMacro) ungetChar();
    return '0';
  }
  const Name name = readMacroName(c);
  ungetChar();
  if (guards.notDefinedArmed) guards.notDefinedEntry = findEntry(name);
  if (parenthesis && skipSpace() != ')') {
    reportError(msgExpressionSyntax);
    ungetChar();
  }
  const bool defined = isDefined(name);
  if (explaining) [[unlikely]]
    explainAskedName("defined ", name, defined);
  return defined ? '1' : '0';
}

MacroAnswer checkMacro(const Name& name) {
  const bool marked = input.noExpandMark;
  input.noExpandMark = false;
  if (marked && !input.pasteSeen) return {MacroAnswer::standsForGood, 0, findEntry(name)};
  const DynamicName dynamic = dynamicNameOf(name);
  if (dynamic != dynamicNone) {
    // The name's bytes are gone when its text has been made.
    const bool explained = explaining && isExplained(name.text, name.length);
    const Byte byte = expandDynamicName(dynamic);
    if (explained) [[unlikely]]
      explainDynamicName(dynamic, byte);
    return {MacroAnswer::replaced, byte, nullptr};
  }
  if (scanner.lineMode && isSpelled(name, "defined"))
    return {MacroAnswer::replaced, definedOperator(), nullptr};
  IdentEntry* const entry = findEntry(name);
  if (!entry->isMacro()) return {MacroAnswer::standsForGood, 0, entry};
  return {expandMacro(entry) ? MacroAnswer::expanded : MacroAnswer::stands, 0, entry};
}
