// A line on the error stream's terminal that tells how far a run is, and gives way to everything else.

#pragma once

#include "base.h"

// Shows `text` in the place of the line shown before, cut to what the terminal has room for. Nothing if the
// error stream is no terminal.
void showStatusLine(const char* text, size_t length);

// Removes the line, if there is one. writeErrorStream does so by itself.
void eraseStatusLine();
