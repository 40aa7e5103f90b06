// What became of the files of a unit, in the order in which it happened: which were read, when each was left,
// and which were not read again because of their guards. The reports on a run are made of it.

#pragma once

#include "base.h"

// Whether anything is recorded; the hooks are called only then. Set for the run.
extern bool recording;

// The number of the unit in the run, from 1 on; 0 before the first.
extern uint32_t unitNumber;

enum FileEventKind : Byte {
  fileEntered,  // reading begins; what comes up to its fileLeft is included from it
  fileLeft,     // the file entered last that has not been left ends
  fileSkipped,  // not read again, by its guard
  fileRead      // read as a whole by others: the library of #import
};

// What has been read of a file, in blocks.
struct FileSize {
  uint64_t bytes;
  uint64_t lineFeeds;
  uint64_t returns;
  Byte last;  // the last byte
};

// Counts a block in.
void measureBlock(FileSize& size, const Byte* text, size_t length);

constexpr size_t noEvent = SIZE_MAX;

struct FileEvent {
  FileEventKind kind;
  bool standardInput;  // of the source that comes from there: no file of that name was read
  bool angled;         // of fileEntered and fileSkipped: named as <...>
  bool guarded;        // of fileLeft: the file has a guard
  int32_t line;        // of the including file, 0 for the source itself
  size_t name;   // where the name begins, see nameOfEvent; as the program spelled it when it opened the file
  int64_t time;  // of steadyTime
  size_t includer;  // the fileEntered of the including file, noEvent for the source itself and for fileLeft
  size_t partner;   // of fileEntered and fileLeft: the other one; else noEvent
  uint64_t bytes;   // of fileLeft: how much of the file was read
  uint64_t lines;   // of fileLeft: the same in lines
};

// The events of the unit; valid until the next one begins.
struct FileEvents {
  FileEvent* items;
  size_t count;
  int64_t start;  // when the unit began
};
FileEvents fileEvents();

// The name that belongs to an event; with fileLeft that of the file left.
const char* nameOfEvent(const FileEvent& event);

// The same as other programs of the host find the file; where none was opened, as nameOfEvent.
const char* hostNameOfEvent(const FileEvent& event);

// Forgets all events; the start of a unit.
void beginFileEvents();

// The hooks; a file that is entered or read has just been opened. Memory that is lacking is noted, and
// reported by fileEventsComplete.
VSP_COLD void noteFileEvent(FileEventKind kind, const char* name, bool angled = false,
                            bool standardInput = false);
VSP_COLD void noteFileLeft(const char* name, const FileSize& size, bool guarded);

// False if events are missing for want of memory.
bool fileEventsComplete();

// Gives the memory back; the end of a run.
void dropFileEvents();
