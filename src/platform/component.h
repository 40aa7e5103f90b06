// The outside component that reads type libraries.

#pragma once

#include "base.h"

// Loads the component (from the program's directory first, then as the system's loader
// finds it), calls its entry ReadTypeLibrary(path, attributes, 0, generatedName)
// and unloads it. False if the component or its entry is missing; else true,
// with the entry's answer in `result`. `generatedName` has room for
// `importNameLimit` + 1 bytes and always holds a NUL afterwards.
constexpr size_t importNameLimit = 4095;
bool readTypeLibrary(const char* path, const char* attributes, char* generatedName, int& result);
