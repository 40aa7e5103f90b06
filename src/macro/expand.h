// Macro expansion.
//
// A macro call is replaced by pushing the stored body on the input stack; the
// scanner reads on, and the rescan is plain scanning. Parameters turn into
// frames of their own when the reader reaches them, and a paste is nothing but
// the absence of a token's end between two stretches of text.

#pragma once

#include "base.h"
#include "input/frame.h"
#include "scanner/identifiers.h"

// The links between the reader of macro text, the scanner and checkMacro.
extern bool noExpandMark;  // a mark has been read: the next name stands
extern bool pasteSeen;     // a paste has been read since the name began
extern bool plainIdent;    // the name that stands is no macro, or was marked

// Frames of macro text to be used again.
extern MacroFrame* freeMacroFrames;

// Clears the flags; the start of a unit.
void resetExpansion();

// Decides what the name at tokenTextPtr does. 0: an expansion was pushed or a
// failed call dropped; above 0: the name is replaced by this byte; below 0: the
// name stands, and currentIdent is its entry. May change the input stack.
int checkMacro();

// Pushes a macro text frame, and hides `entry` while it lasts, if there is one.
void pushMacroText(IdentEntry* entry, const Byte* text, ArgumentNode* arguments);

// The reader of `frame` has met the control byte at the limit. Returns the
// character that it stands for, or -1 if there is none. May push a frame.
int macroTextEnd(MacroFrame* frame);

// The text of `frame`, which is on top, has ended.
void endMacroFrame(MacroFrame* frame);

// Runs a directive that begins a line inside an argument that is being expanded,
// behind its '#'. It takes the text buffer from its start: what the arguments
// around have collected there comes back, what the argument itself has collected
// is gone. copyClass stays in force, so a condition sees names and nothing else.
// May change the input stack.
VSP_COLD void runDirectiveInArgument();
