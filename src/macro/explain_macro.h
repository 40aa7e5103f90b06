// What the explanation of a macro needs to know of definitions and calls. To be called only while a macro is
// explained.

#pragma once

#include "base.h"
#include "input/frame.h"
#include "names/names.h"
#include "record/explain.h"

struct ParameterNode;

// The definition of `entry` with the encoded `body`; the last parameter comes first. `repeated` if the same
// macro is there already.
void explainStoredMacro(DefinitionOrigin origin, const IdentEntry* entry, Byte paramByte,
                        const ParameterNode* parameters, const Byte* body, bool repeated);

// A call of `entry`, whose name stood on the line `line`; its body is about to be read.
void explainCall(IdentEntry* entry, const ArgumentNode* arguments, int32_t line);

// A name of a macro with parameters that is no call, or has a wrong number of arguments.
void explainFailedCall(const IdentEntry* entry, const char* outcome, int32_t line);

// The dynamic name that is explained, in whose place `byte` comes.
void explainDynamicName(DynamicName name, Byte byte);

// A directive or `defined` asks for a name.
void explainAskedName(const char* directive, const Name& name, bool defined);

// Ends a trial that a fatal error has left. To be called before anything else is cleaned up.
void endTrial();

// True while a call is tried out: its text may not run directives.
extern bool tryingCall;
