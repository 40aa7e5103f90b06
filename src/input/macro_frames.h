// Frames of macro text: bodies and arguments while they are read.
//
// The reader of such a text stops at each control byte. Some stand for
// characters, some push a further text, and some only leave word for whoever
// reads: that word is the state below.

#pragma once

#include "base.h"
#include "input/frame.h"

struct IdentEntry;

// A mark has been read: the name that follows it stands as it is.
extern bool noExpandMark;

// A paste has been read since the name began.
extern bool pasteSeen;

// Text that the reader of strings takes in place of the input: a stringized
// argument, or the text of a dynamic name. Null if there is none.
extern const Byte* pendingText;

// Pushes a macro's body, and hides `entry` while it lasts, if there is one. The
// frame owns `arguments`.
void pushMacroText(IdentEntry* entry, const Byte* text, ArgumentNode* arguments);

// The reader of `frame` has met the control byte at the limit. Returns the
// character that it stands for, or -1 if there is none. May push a frame.
int macroTextEnd(MacroFrame* frame);

// The text of `frame`, which is on top, has ended.
void endMacroFrame(MacroFrame* frame);

// Gives the arguments of a call back.
void freeArguments(ArgumentNode* node);

// Forgets frames and state; the start of a unit.
void resetMacroFrames();
