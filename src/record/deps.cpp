// The dependencies of the units, as rules for make and ninja.

#include "record/deps.h"

#include "record/files.h"

void appendDeps(TextBuffer& report, const char* target) {
  appendText(report, target);
  appendText(report, ":");
  const FileEvents events = fileEvents();
  for (size_t i = 0; i < events.count; ++i) {
    if (events.items[i].kind != fileEntered) continue;
    appendText(report, " ");
    appendText(report, nameOfEvent(events.items[i]));
  }
  appendText(report, "\n");
}
