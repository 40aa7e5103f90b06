// Where the time of a run goes, in the trace event format: spans that nest as the files do.

#pragma once

#include "base.h"
#include "platform/text_buffer.h"

// Appends the events of the unit that has ended, each with a comma after it. The unit is a thread of its own.
void appendUnitTrace(TextBuffer& events, bool failed);

// Appends the whole trace with these events.
void appendTrace(TextBuffer& trace, const TextBuffer& events);
