// The two calls that run up the order of the folders; every other one runs down.
//
// The scanner asks what each name does, and a macro call answers by reading its
// arguments with the scanner. What an argument leaves unfinished, as a comment
// that runs over its end, can make the reading reach the next line, where a
// directive may stand: it is run in the middle of the call.

#pragma once

#include "base.h"
#include "names/names.h"

// What a name does.
struct MacroAnswer {
  enum Outcome : Byte {
    stands,         // it stays here, and `entry` is its entry
    standsForGood,  // the same for a name that is no macro, or was marked
    expanded,       // an expansion has been pushed, or a failed call dropped
    replaced,       // `byte` comes in its place
  };

  Outcome outcome;
  Byte byte;
  IdentEntry* entry;
};

// Decides what a name does that the scanner has read; the name stands at
// the end of tokenText. May change the input stack. Defined in macro/expand.cpp.
MacroAnswer checkMacro(const Name& name);

// Runs the directive whose '#' has just been read, and leaves its line end unread.
// May change the input stack. Defined in directive/directives.cpp.
void runDirective();
