// What the program says about itself: banner, help, version.

#pragma once

#include "base.h"

void printBanner();

// The list of the compiler's switches.
void printHelp();

// The same, and the long switches after it.
void printFullHelp();

void printVersion();

// Text for standard output with its carriage returns dropped.
void printText(const char* text);
