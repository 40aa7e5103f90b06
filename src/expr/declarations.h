// The reader of type names: specifiers, modifiers and abstract declarators.

#pragma once

#include "base.h"
#include "expr/types.h"

// True if `token` begins a type name. A calling convention does not.
bool startsTypeName(int32_t token);

// Reads a type name and the ")" behind it; the current token is its first one.
// Null after an error. `qualifiers` gets const and volatile of the outermost
// level. May change the input stack.
TypeNode* parseTypeName(uint32_t& qualifiers);

// Makes the state of the reader fresh; the start of a unit.
void initDeclarations();
