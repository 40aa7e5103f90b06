// What a call becomes.
//
// It is tried out before it is run: its body is read with an input stack of its own, by the same scanner and
// with the same class table, and what comes is the answer. All that the reading may change is put aside
// before and put back after it, and no message and no output leaves it. So the answer is what the same rules
// make of the same call, nested calls and names that stand in their own text included; and the run itself
// goes on as if nothing had been asked.

#include "macro/explain_macro.h"

#include <cstring>
#include <new>

#include "diag/report.h"
#include "input/macro_frames.h"
#include "input/macro_text.h"
#include "macro/define.h"
#include "memory/memory.h"
#include "output/line_markers.h"
#include "output/output.h"
#include "platform/text_buffer.h"
#include "scanner/char_class.h"
#include "scanner/literals.h"
#include "scanner/scan.h"
#include "scanner/separators.h"
#include "scanner/state.h"
#include "scanner/token_text.h"

constinit bool tryingCall = false;

// --- Readable text ---

// The texts of the current line.
static constinit TextBuffer listText = {};
static constinit TextBuffer resultText = {};
static constinit TextBuffer placeText = {};

static void emptyTexts() {
  emptyBuffer(listText);
  emptyBuffer(resultText);
  emptyBuffer(placeText);
}

static std::string_view viewOf(const TextBuffer& buffer) {
  if (buffer.failed) reportFatal(msgOutOfMemory);
  return {buffer.data, buffer.length};
}

static void addByte(TextBuffer& text, Byte c) {
  const char byte = char(c);
  appendBytes(text, &byte, 1);
}

// Appends parameter number `place` of a list that holds the last one of `count` first.
static void addParameter(TextBuffer& text, const ParameterNode* parameters, int count, int place) {
  for (int i = count - 1; i > place && parameters != nullptr; --i) parameters = parameters->next;
  if (parameters != nullptr) appendBytes(text, asChars(parameters->name), parameters->length);
}

static void addParameterList(TextBuffer& text, const ParameterNode* parameters, int count) {
  appendText(text, "(");
  for (int i = 0; i < count; ++i) {
    if (i != 0) appendText(text, ",");
    addParameter(text, parameters, count, i);
  }
  appendText(text, ")");
}

// Appends the encoded text of a body up to its end, as it may have been written.
static void addBody(TextBuffer& text, const Byte* body, const ParameterNode* parameters, int count) {
  for (; *body != 0 && *body != endOfBodyMark; ++body) {
    if (isParameter(*body))
      addParameter(text, parameters, count, *body - firstParameter);
    else if (*body == pasteMark)
      appendText(text, " ## ");
    else if (*body == stringizeMark)
      appendText(text, "#");
    else if (*body == escapeMark && body[1] != 0)
      addByte(text, *++body);
    else
      addByte(text, *body);
  }
}

// Appends the text of an argument without its marks.
static void addArgument(TextBuffer& text, const ArgumentNode* argument) {
  const Byte* const end = argument->rawText + argument->rawLength;
  for (const Byte* c = argument->rawText; c < end; ++c) {
    if (*c == escapeMark && c + 1 < end)
      addByte(text, *++c);
    else if (*c != noExpandCode && *c != endOfBodyMark)
      addByte(text, *c);
  }
}

// --- Trials ---

// All that reading a macro's text may change.
struct SetAside {
  InputState input;
  ScannerState scanner;
  TokenState tokenState;
  TokenText tokenText;
  Output output;
  int32_t currentLine;
  int32_t messageLine;
  uint32_t totalLines;
};
static constinit SetAside aside{};

static void beginTrial() {
  aside = {input, scanner, tokenState, tokenText, output, currentLine, messageLine, totalLines};
  setMarkersAside();
  tryingCall = true;
  messagesMuted = true;
  explaining = false;
  input.top = nullptr;
  input.cursor = input.limit = nullptr;
  input.noExpandMark = input.pasteSeen = false;
  scanner.wideString = scanner.wideChar = false;
  input.pendingText = nullptr;
  // A sink into which nothing goes.
  output.handle = -1;
  output.toConsole = false;
  output.buffer = output.cursor = output.limit = nullptr;
  tokenText.clear();
}

void endTrial() {
  if (!tryingCall) return;
  // The trial's frames can be used again.
  MacroFrame* const freeFrames = input.freeMacroFrames;
  input = aside.input;
  input.freeMacroFrames = freeFrames;
  scanner = aside.scanner;
  tokenState = aside.tokenState;
  tokenText = aside.tokenText;
  output = aside.output;
  currentLine = aside.currentLine;
  messageLine = aside.messageLine;
  totalLines = aside.totalLines;
  restoreMarkers();
  explaining = true;
  messagesMuted = false;
  tryingCall = false;
}

// A copy of the arguments, for the frame that reads them and gives them back.
static ArgumentNode* copyArguments(const ArgumentNode* from) {
  ArgumentNode* list = nullptr;
  ArgumentNode** tail = &list;
  for (; from != nullptr; from = from->next) {
    // The raw text has a NUL before and after it.
    char* const raw = memCopy(asChars(from->rawText - 1), from->rawLength + 2);
    const Byte* end = from->expandedText;
    while (*end != 0) end += *end == escapeMark ? 2 : 1;
    const size_t length = size_t(end - from->expandedText);
    ArgumentNode* const node =
        new (memAlloc(uint32_t(offsetof(ArgumentNode, expandedText) + length + 1))) ArgumentNode;
    node->next = nullptr;
    node->rawText = reinterpret_cast<Byte*>(raw) + 1;
    node->rawLength = from->rawLength;
    std::memcpy(node->expandedText, from->expandedText, length + 1);
    *tail = node;
    tail = &node->next;
  }
  return list;
}

// Appends the text as directives and arguments get it.
static void copyTrial(TextBuffer& result) {
  // Names come one by one; all else is copied.
  while (getToken() == tokIdent) tokenText.keep(scanner.scannedName.length);
  const Byte* start = tokenText.bytes;
  const Byte* end = dropEscapes(tokenText.bytes);
  while (*start == ' ' || *start == '\t') ++start;
  while (end > start && (end[-1] == ' ' || end[-1] == '\t')) --end;
  appendBytes(result, asChars(start), size_t(end - start));
}

// Appends a character, both bytes of a double-byte one.
static void addWide(TextBuffer& text, int c) {
  if (c > 0xFF) addByte(text, Byte(c >> 8));
  addByte(text, Byte(c));
}

// Appends the string that has begun.
static void addString(TextBuffer& text) {
  appendText(text, scanner.wideString ? "L\"" : "\"");
  for (;;) {
    const int c = nextStringChar();
    if (c == -1 || c == endOfTextByte) break;
    if (c == '"' && input.pendingText != nullptr) addByte(text, '\\');
    addWide(text, c);
  }
  addByte(text, '"');
  scanner.wideString = false;
}

// Appends what follows the keyword asm, which is no text of tokens.
static void addAsm(TextBuffer& text) {
  for (int c; (c = nextStringChar()) != -1 && c != endOfTextByte && c != '\r' && c != '\n';) addWide(text, c);
}

// Appends the current token.
static void addToken(TextBuffer& text, TokenCode code) {
  switch (code) {
    case tokIdent: appendText(text, asChars(tokenState.entry->spelling())); break;
    case tokCharConst:
    case tokIntConst:
    case tokLongConst:
    case tokFloatConst:
      if (scanner.wideChar) addByte(text, 'L');
      scanner.wideChar = false;
      appendText(text, asChars(tokenText.bytes));
      break;
    case tokString: addString(text); break;
    default: appendText(text, tokenSpelling[code]); break;
  }
  if (code == tokAsm) addAsm(text);
}

// Appends the text as the output gets it; a run of blanks is one.
static void tokenTrial(TextBuffer& result) {
  scanner.activeClass = &tokenClass;
  scanner.lineMode = false;
  int previous = tokNone;
  for (;;) {
    // The scanner writes the blanks that it passes.
    output.lastChar = 0;
    const TokenCode code = getToken();
    if (code == tokEndOfFile || code == tokDirective || result.failed) break;
    const bool blank = output.lastChar == ' ' || output.lastChar == '\t';
    const Byte last = blank || result.length == 0 ? ' ' : Byte(result.data[result.length - 1]);
    const bool apart = needsSeparator(previous, code) ||
                       (wordTokens[size_t(code)] && wordBytes[last] && !isNumber(previous));
    if (result.length != 0 && (blank || apart)) addByte(result, ' ');
    addToken(result, code);
    previous = code;
  }
}

// Reads the body of `entry` and appends what comes of it.
static void tryCall(IdentEntry* entry, const ArgumentNode* arguments, TextBuffer& result) {
  static const Byte end[] = {0, endOfTextByte, 0};
  const bool copied = scanner.activeClass == &copyClass;
  beginTrial();
  pushMacroText(nullptr, end + 1, nullptr);
  pushMacroText(entry, entry->macroBody + 1, copyArguments(arguments));
  if (copied)
    copyTrial(result);
  else
    tokenTrial(result);
  while (input.top != nullptr) {
    if (input.top->kind == frameMacro)
      endMacroFrame(static_cast<MacroFrame*>(input.top));
    else
      popFrame();
  }
  endTrial();
}

// --- The hooks ---

static bool isExplainedEntry(const IdentEntry* entry) {
  return isExplained(entry->spelling(), entry->nameLength);
}

void explainStoredMacro(DefinitionOrigin origin, const IdentEntry* entry, Byte paramByte,
                        const ParameterNode* parameters, const Byte* body, bool repeated) {
  if (!isExplainedEntry(entry)) return;
  emptyTexts();
  const int count = paramByte == objectLike ? 0 : paramByte;
  if (paramByte != objectLike) addParameterList(listText, parameters, count);
  addBody(resultText, body, parameters, count);
  explainDefinition(origin, viewOf(listText), viewOf(resultText), repeated);
}

// Where the name being read stands, for those who look for it in the line: appended to `text`.
static void addPlace(TextBuffer& text) {
  for (const InputFrame* frame = input.top; frame != nullptr && !isFileFrame(frame);
       frame = frame->previous) {
    if (frame->kind != frameMacro) continue;
    const MacroFrame* const macro = static_cast<const MacroFrame*>(frame);
    if (macro->hiddenEntry != nullptr) {
      appendText(text, ", in the text of ");
      appendText(text, asChars(macro->hiddenEntry->spelling()));
      return;
    }
    if (macro->savedBody != nullptr) {
      appendText(text, ", in an argument");
      return;
    }
  }
  if (scanner.lineMode) appendText(text, ", in a directive");
}

// True if the text holds the name outside its literals.
static bool holdsName(std::string_view text, const IdentEntry* entry) {
  const std::string_view name(asChars(entry->spelling()), entry->nameLength);
  char quote = 0;
  for (size_t i = 0; i < text.length(); ++i) {
    if (quote != 0) {
      if (text[i] == '\\')
        ++i;
      else if (text[i] == quote)
        quote = 0;
    } else if (text[i] == '"' || text[i] == '\'') {
      quote = text[i];
    } else if (isNameByte(Byte(text[i]))) {
      const size_t start = i;
      while (i + 1 < text.length() && isNameByte(Byte(text[i + 1]))) ++i;
      if (std::string_view(text.data() + start, i + 1 - start) == name) return true;
    }
  }
  return false;
}

void explainCall(IdentEntry* entry, const ArgumentNode* arguments, int32_t line) {
  if (!isExplainedEntry(entry)) return;
  emptyTexts();
  if (*entry->macroBody != objectLike) {
    appendText(listText, "(");
    for (const ArgumentNode* node = arguments; node != nullptr; node = node->next) {
      addArgument(listText, node);
      if (node->next != nullptr) appendText(listText, ", ");
    }
    appendText(listText, ")");
  }
  addPlace(placeText);
  tryCall(entry, arguments, resultText);
  const std::string_view result = viewOf(resultText);
  explainUse({line, viewOf(listText), " expands to ", result.empty() ? "nothing" : result, viewOf(placeText),
              holdsName(result, entry)});
}

void explainFailedCall(const IdentEntry* entry, const char* outcome, int32_t line) {
  if (!isExplainedEntry(entry)) return;
  emptyTexts();
  addPlace(placeText);
  explainUse({line, {}, outcome, {}, viewOf(placeText), false});
}

void explainDynamicName(DynamicName name, Byte byte) {
  emptyTexts();
  if (name == dynamicLine) {
    appendNumber(resultText, currentLine);
  } else {
    addByte(resultText, byte);
    if (byte == '"') {
      appendText(resultText, asChars(input.pendingText));
      addByte(resultText, byte);
    }
  }
  addPlace(placeText);
  explainUse({currentLine, {}, " stands for ", viewOf(resultText), viewOf(placeText), false});
}

void explainAskedName(const char* directive, const Name& name, bool defined) {
  if (isExplained(name.text, name.length)) explainQuestion(directive, defined);
}
