// The keywords of a unit.

#pragma once

// Makes the keywords of the unit's language known to the table of names, which
// must be empty; the start of a unit.
void installKeywords();
