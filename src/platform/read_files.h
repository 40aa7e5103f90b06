// Which files have been read, so that no output takes the place of one.
//
// A file counts by what it is, not by its name: two spellings and two links lead to
// the same one. What was opened before the first unit (response files) or serves
// the whole run (configuration, languages) counts for every unit, all else for the
// unit that read it: the output of one unit may well be the header of the next.

#pragma once

#include "base.h"

// What tells a file from every other one of the host.
struct FileIdentity {
  uint64_t device;
  uint64_t inode;

  bool operator==(const FileIdentity&) const = default;
};

// The identity that no file has.
constexpr FileIdentity noFile = {0, 0};

// Starts the first unit, or the next one.
void beginUnitFiles();

// Hands each file that the current unit has read to `take`.
void listUnitFiles(void (*take)(FileIdentity file));

// From now on a file that any unit has read counts as read; the end of a run.
void countAllReaders();

// Forgets all files; for a run in a process that had one before.
void forgetReadFiles();

// Notes that `file` is being read, by the current unit or for the whole run.
void noteRead(FileIdentity file);
void noteReadForRun(FileIdentity file);

// True if `file` was read for the run or by the current unit. Also true for a file
// that nobody knows about, where there was no memory for all the notes.
bool wasRead(FileIdentity file);

// Sets the file that the unit's output is going to replace, or noFile.
void watchFile(FileIdentity file);

// True if the watched file has been read since it is watched. Safe in a signal handler.
bool watchedFileWasRead();

// True if any file has been read since then.
bool anyReadSinceWatch();
