// The reports on the headers of a unit.

#pragma once

// -Ss: writes the statistics into the output, as a comment.
void reportStatistics();

// -Sg: writes the guard of each header to the standard error stream.
void reportGuards();
