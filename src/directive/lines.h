// #line, #error and #pragma.

#pragma once

#include "base.h"

// Handlers of the directives.
void lineDirective(Byte c);
void errorDirective(Byte c);
void pragmaDirective(Byte c);
