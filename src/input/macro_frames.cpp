// Macro text as input: the stretches between its control bytes, and what each of
// these stands for.

#include "input/macro_frames.h"

#include <new>

#include "input/macro_text.h"
#include "memory/memory.h"
#include "names/names.h"

// Bytes of `text` before the first control byte. A Ctrl-Z counts as one
// after the first stretch only.
VSP_INLINE uint32_t plainStretch(const Byte* text, bool first) {
  const Byte* end = text;
  while (*end != 0 && *end < firstParameter && (first || *end != endOfTextByte)) ++end;
  return uint32_t(end - text);
}

static void pushMacroFrame(IdentEntry* entry, const Byte* body, const Byte* text, ArgumentNode* arguments) {
  MacroFrame* frame = input.freeMacroFrames;
  if (frame != nullptr) {
    input.freeMacroFrames = static_cast<MacroFrame*>(frame->previous);
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
// is about to go: the expressions of directives leave such strings.
VSP_COLD static void keepPendingText(const ArgumentNode* node) {
  const Byte* const end = node->rawText + node->rawLength;
  if (input.pendingText >= node->rawText && input.pendingText <= end)
    input.pendingText = asBytes(memCopy(asChars(input.pendingText), size_t(end - input.pendingText)));
}

void freeArguments(ArgumentNode* node) {
  while (node != nullptr) {
    ArgumentNode* const next = node->next;
    if (input.pendingText != nullptr) keepPendingText(node);
    memFree(node->rawText - 1);
    memFree(node);
    node = next;
  }
}

void endMacroFrame(MacroFrame* frame) {
  if (frame->hiddenEntry != nullptr) frame->hiddenEntry->macroBody = frame->savedBody;
  freeArguments(frame->arguments);
  popFrame();
  frame->previous = input.freeMacroFrames;
  input.freeMacroFrames = frame;
}

// Node number `p` of a call; a call has as many nodes as its macro parameters.
static ArgumentNode* argumentOf(const MacroFrame* frame, Byte parameter) {
  ArgumentNode* node = frame->arguments;
  for (int p = parameter - firstParameter; p > 0 && node != nullptr; --p) node = node->next;
  return node;
}

// Makes `text` the new stretch of `frame`, which is on top.
static void advanceStretch(MacroFrame* frame, const Byte* text) {
  frame->buffer = text;
  frame->length = plainStretch(text, false);
  input.cursor = text;
  input.limit = text + frame->length;
}

// What a control byte stands for: nothing that is read at once.
constexpr int noCharacter = -1;

// The escape: the byte after it is an ordinary one. A NUL yields nothing.
static int takeEscaped(MacroFrame* frame, const Byte* control) {
  advanceStretch(frame, control + 2);
  return control[1] != 0 ? control[1] : noCharacter;
}

// A paste: a parameter after it is read as it was written.
static int takePaste(MacroFrame* frame, const Byte* control) {
  input.pasteSeen = true;
  const ArgumentNode* const node = isParameter(control[1]) ? argumentOf(frame, control[1]) : nullptr;
  advanceStretch(frame, control + (isParameter(control[1]) ? 2 : 1));
  if (node != nullptr) pushArgumentText(node->rawText);
  return noCharacter;
}

// A stringize: the parameter's text waits for the reader of strings, which the
// quote calls.
static int takeStringize(MacroFrame* frame, const Byte* control) {
  static const Byte quote[] = "\"";
  const ArgumentNode* const node = isParameter(control[1]) ? argumentOf(frame, control[1]) : nullptr;
  advanceStretch(frame, control + (isParameter(control[1]) ? 2 : 1));
  if (node != nullptr) {
    input.pendingText = node->rawText;
    pushTextFrame(quote, 1);
  }
  return noCharacter;
}

// A parameter: its text is read expanded, but before a paste.
static int takeParameter(MacroFrame* frame, const Byte* control) {
  const ArgumentNode* const node = argumentOf(frame, control[0]);
  advanceStretch(frame, control + 1);
  if (node != nullptr) pushArgumentText(control[1] == pasteMark ? node->rawText : node->expandedText);
  return noCharacter;
}

int macroTextEnd(MacroFrame* frame) {
  const Byte* const control = input.limit;
  switch (*control) {
    case escapeMark: return takeEscaped(frame, control);
    case pasteMark: return takePaste(frame, control);
    case stringizeMark: return takeStringize(frame, control);
    case noExpandCode:
      input.noExpandMark = true;
      advanceStretch(frame, control + 1);
      return noCharacter;
    case endOfBodyMark: advanceStretch(frame, control + 1); return endOfBodyMark;
    case endOfTextByte:
      // It ends a text of its own, but none of an argument.
      advanceStretch(frame, control + 1);
      return frame->savedBody != nullptr ? endOfTextByte : noCharacter;
    default: return takeParameter(frame, control);
  }
}
