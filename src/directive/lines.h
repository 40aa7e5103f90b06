// #line, #error and #pragma, and the synchronisation of the output's lines with
// the source's.

#pragma once

#include "base.h"

// Set at the start of a unit until its first line end has been handled.
extern bool lineStart;

// A line end has been counted: ends the output's line and begins the next with
// its marker, in the form that the switches select.
void syncLine();

// Forgets the markers written; the start of a unit.
void resetLineMarkers();

// Handlers of the directives.
void lineDirective(Byte c);
void errorDirective(Byte c);
void pragmaDirective(Byte c);
