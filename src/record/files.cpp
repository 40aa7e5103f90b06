// The events of a unit: records in one growing block, names in another.

#include "record/files.h"

#include <cstring>

#include "diag/position.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "platform/text_buffer.h"

constinit bool recording = false;
constinit uint32_t unitNumber = 0;

static constinit TextBuffer records = {};
static constinit TextBuffer names = {};

void beginFileEvents() {
  records.length = names.length = 0;
  records.failed = names.failed = false;
}

void noteFileEvent(FileEventKind kind, const char* name, bool angled, bool standardInput) {
  const FileEvent event = {kind,         standardInput, angled, currentFileName == nullptr ? 0 : currentLine,
                           names.length, steadyTime()};
  const bool opened = (kind == fileEntered && !standardInput) || kind == fileRead;
  const char* const hostName = opened ? openedHostName() : name;
  if (appendBytes(names, name, std::strlen(name) + 1) &&
      appendBytes(names, hostName, std::strlen(hostName) + 1))
    appendBytes(records, reinterpret_cast<const char*>(&event), sizeof event);
}

FileEvents fileEvents() {
  // The block comes from the allocator and holds nothing but events.
  return {reinterpret_cast<FileEvent*>(records.data), records.length / sizeof(FileEvent)};
}

const char* nameOfEvent(const FileEvent& event) {
  return names.data + event.name;
}

const char* hostNameOfEvent(const FileEvent& event) {
  const char* const name = nameOfEvent(event);
  return name + std::strlen(name) + 1;
}

bool fileEventsComplete() {
  return !records.failed && !names.failed;
}

void dropFileEvents() {
  emptyBuffer(records);
  emptyBuffer(names);
}
