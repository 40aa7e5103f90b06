// Macro text as input: the stretches between its control bytes, and what each of
// these stands for.

#include "input/macro_frames.h"

#include <new>

#include "input/macro_text.h"
#include "memory/memory.h"
#include "names/names.h"

constinit bool noExpandMark = false;
constinit bool pasteSeen = false;
constinit const Byte* pendingText = nullptr;

// Frames to be used again.
static constinit MacroFrame* freeMacroFrames = nullptr;

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

void freeArguments(ArgumentNode* node) {
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

void resetMacroFrames() {
  freeMacroFrames = nullptr;
  noExpandMark = false;
  pasteSeen = false;
  pendingText = nullptr;
}
