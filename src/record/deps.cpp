// The dependencies of the units, as rules for make and ninja.
//
// A file stands once in a rule, under the name by which the host knows it: make finds no file by another case
// of its letters. What the two programs read in different ways (a target with '%', '=' or a pattern's
// brackets) is written as it is.

#include "record/deps.h"

#include <cstdlib>
#include <cstring>

#include "platform/files.h"
#include "record/files.h"

// --- Names ---

// Names in their order, with a table of offsets by their hashes.
struct NameSet {
  TextBuffer names;    // each with a NUL after it
  uint32_t* slots;     // offset of a name plus 1, 0 if free
  uint32_t slotCount;  // a power of two, more than there are names
};

static bool openSet(NameSet& set, size_t limit) {
  set = {};
  set.slotCount = 64;
  while (set.slotCount / 2 < limit && set.slotCount < 1U << 30) set.slotCount *= 2;
  set.slots = static_cast<uint32_t*>(std::calloc(set.slotCount, sizeof(uint32_t)));
  return set.slots != nullptr;
}

static void closeSet(NameSet& set) {
  std::free(set.slots);
  emptyBuffer(set.names);
}

// True if that is the name of a slot in use.
static bool holdsName(const NameSet& set, uint32_t slot, const char* name) {
  return set.names.data != nullptr && std::strcmp(set.names.data + slot - 1, name) == 0;
}

// Adds a name. False if it is there already, or there is no memory.
static bool addName(NameSet& set, const char* name) {
  uint32_t hash = 2166136261U;
  for (const char* c = name; *c != 0; ++c) hash = (hash ^ Byte(*c)) * 16777619U;
  uint32_t i = (hash ^ hash >> 15) & (set.slotCount - 1);
  for (; set.slots[i] != 0; i = (i + 1) & (set.slotCount - 1))
    if (holdsName(set, set.slots[i], name)) return false;
  const uint32_t offset = uint32_t(set.names.length);
  if (!appendBytes(set.names, name, std::strlen(name) + 1)) return false;
  set.slots[i] = offset + 1;
  return true;
}

// Copies a name of the host without what means "this directory" in it.
static void copyWithoutDots(const char* from, char* name) {
  char* to = name;
  while (*from != 0) {
    const bool atStart = to == name || to[-1] == '/';
    if (atStart && from[0] == '.' && from[1] == '/') {
      from += 2;
      while (*from == '/') ++from;
    } else {
      *to++ = *from++;
    }
  }
  *to = 0;
}

// --- Rules ---

// True for the colon after a drive's letter, which both programs know.
static bool endsDrive(const char* name, const char* c) {
  return c == name + 1 && c[1] == '/';
}

// Appends a name in such a way that both programs read it as one.
static void appendEscaped(TextBuffer& report, const char* name) {
  size_t backslashes = 0;
  for (const char* next = name; *next != 0; ++next) {
    const char c = *next;
    if (c == ' ' || c == '\t' || c == '#' || (c == ':' && !endsDrive(name, next))) {
      // Those in front of it would else be taken for escapes.
      for (; backslashes != 0; --backslashes) appendBytes(report, "\\", 1);
      appendBytes(report, "\\", 1);
    } else if (c == '$') {
      appendBytes(report, "$", 1);
    }
    backslashes = c == '\\' ? backslashes + 1 : 0;
    appendBytes(report, &c, 1);
  }
}

// Puts the name of each file that was read into `files`, the source first.
static void collectFiles(NameSet& files) {
  const FileEvents events = fileEvents();
  for (size_t i = 0; i < events.count; ++i) {
    const FileEvent& event = events.items[i];
    if (event.kind == fileLeft || event.kind == fileSkipped || event.standardInput) continue;
    char name[hostPathSize];
    copyWithoutDots(hostNameOfEvent(event), name);
    addName(files, name);
  }
}

static void appendRules(TextBuffer& report, const NameSet& files, const char* target, bool phony) {
  appendEscaped(report, target);
  appendText(report, ":");
  const char* const end = files.names.data + files.names.length;
  for (const char* name = files.names.data; name != end; name += std::strlen(name) + 1) {
    appendText(report, " \\\n  ");
    appendEscaped(report, name);
  }
  appendText(report, "\n");
  if (!phony || files.names.length == 0) return;
  const bool sourceFirst = !fileEvents().items[0].standardInput;
  const char* name = files.names.data + (sourceFirst ? std::strlen(files.names.data) + 1 : 0);
  for (; name != end; name += std::strlen(name) + 1) {
    appendEscaped(report, name);
    appendText(report, ":\n");
  }
}

void appendDeps(TextBuffer& report, const char* target, bool phony) {
  NameSet files;
  const bool opened = openSet(files, fileEvents().count);
  if (opened) {
    collectFiles(files);
    appendRules(report, files, target, phony);
  }
  if (!opened || files.names.failed || !fileEventsComplete()) report.failed = true;
  closeSet(files);
}
