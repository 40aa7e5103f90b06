// The reader of type names, in casts and after sizeof.

#pragma once

#include "base.h"
#include "expr/types.h"

// Reads a type name and the ")" after it; the current token is its first one.
// Null after an error. May change the input stack.
TypeNode* parseTypeName();
