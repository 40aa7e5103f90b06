// #import.

#pragma once

#include "base.h"

// Handler of #import. May change the input stack.
void importDirective(Byte c);
