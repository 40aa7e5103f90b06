// Which file includes which, as a graph for Graphviz.

#pragma once

#include "base.h"
#include "platform/text_buffer.h"

// Appends the files and includes of the unit that has ended, in a form of their own.
void appendUnitGraph(TextBuffer& parts);

// Appends the graph of all units, from what appendUnitGraph gave.
void appendGraph(TextBuffer& graph, const TextBuffer& parts);
