// The run of one translation unit, from the first table reset to the last byte
// of its output.

#pragma once

// Runs the unit of `path` under the fault filter. False if it ended with errors
// or a fatal stop. The text may come from standard input: `path` then is the name
// that it goes by.
bool guardedTranslate(const char* path, bool standardInput);

// Installs and removes the filters that report hardware faults.
void installFaultFilters();
void removeFaultFilters();
