// The events of a unit: records in one growing block, names in another.

#include "record/files.h"

#include <algorithm>
#include <cstring>

#include "diag/position.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "platform/text_buffer.h"

constinit bool recording = false;
constinit uint32_t unitNumber = 0;

static constinit TextBuffer records = {};  // the FileEvents of the unit
static constinit TextBuffer names = {};    // their names, each with a NUL after it
static constinit int64_t unitStart = 0;    // by steadyTime

// The fileEntered of the file that is being read.
static constinit size_t openFile = noEvent;

void measureBlock(FileSize& size, const Byte* text, size_t length) {
  if (length == 0) return;
  size.bytes += length;
  size.lineFeeds += uint64_t(std::count(text, text + length, Byte('\n')));
  size.returns += uint64_t(std::count(text, text + length, Byte('\r')));
  size.last = text[length - 1];
}

// Lines end in a line feed, with or without a return, or in returns alone. The last one may have no end.
static uint64_t linesOf(const FileSize& size) {
  const uint64_t ends = size.lineFeeds != 0 ? size.lineFeeds : size.returns;
  return ends + (size.bytes != 0 && !isLineEnd(size.last));
}

void beginFileEvents() {
  records.length = names.length = 0;
  records.failed = names.failed = false;
  openFile = noEvent;
  unitStart = steadyTime();
}

// Adds an event. False without memory.
static bool addEvent(FileEvent event, const char* name) {
  event.line = currentFileName == nullptr ? 0 : currentLine;
  event.name = names.length;
  event.time = steadyTime();
  const bool opened = (event.kind == fileEntered && !event.standardInput) || event.kind == fileRead;
  const char* const hostName = opened ? openedHostName() : name;
  return appendBytes(names, name, std::strlen(name) + 1) &&
         appendBytes(names, hostName, std::strlen(hostName) + 1) &&
         appendBytes(records, reinterpret_cast<const char*>(&event), sizeof event);
}

void noteFileEvent(FileEventKind kind, const char* name, bool angled, bool standardInput) {
  FileEvent event{};
  event.kind = kind;
  event.angled = angled;
  event.standardInput = standardInput;
  event.includer = openFile;
  event.partner = noEvent;
  if (addEvent(event, name) && kind == fileEntered) openFile = fileEvents().count - 1;
}

void noteFileLeft(const char* name, const FileSize& size, bool guarded) {
  FileEvent event{};
  event.kind = fileLeft;
  event.includer = noEvent;
  event.partner = openFile;
  event.bytes = size.bytes;
  event.lines = linesOf(size);
  event.guarded = guarded;
  if (!addEvent(event, name) || openFile == noEvent) return;
  FileEvent& entered = fileEvents().items[openFile];
  openFile = entered.includer;
  entered.partner = fileEvents().count - 1;
}

FileEvents fileEvents() {
  // The block comes from the allocator and holds nothing but events.
  return {reinterpret_cast<FileEvent*>(records.data), records.length / sizeof(FileEvent), unitStart};
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
