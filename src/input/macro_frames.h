// Frames of macro text: bodies and arguments while they are read.
//
// The reader of such a text stops at each control byte. Some stand for
// characters, some push a further text, and some only leave word for whoever
// reads: that word is in `input`.

#pragma once

#include "base.h"
#include "input/frame.h"

struct IdentEntry;

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
