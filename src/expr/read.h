// The reader of expressions, as declarators call it.

#pragma once

#include "base.h"

// The value of a bound.
struct ArrayBound {
  int32_t value;
  bool isUnsigned;  // its type is
};

// Reads and folds the expression of a bound, whose first token is current. The token
// that ends it becomes current; a substitute stands for the value after an error.
// May change the input stack.
ArrayBound readArrayBound();
