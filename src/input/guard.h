// The fast guard: a header that is one #ifndef group is not read again while its
// macro is defined. Also the per-file statistics of -Ss and -Sg.

#pragma once

#include "base.h"

struct IdentEntry;

// One file that another file included.
struct HeaderRecord;
struct HeaderChild {
  HeaderRecord* record;
  HeaderChild* next;
};

// Statistics of one file name of a unit, kept while -Sg or -Ss is on.
struct HeaderRecord {
  const char* name;
  int32_t lines;           // currentLine at the first pop, 0 before; with -Ss
  uint32_t startTotal;     // totalLines when the record was made
  uint32_t endTotal;       // totalLines at the first pop, 0 before; with -Ss
  int32_t includeCount;    // pushes of this file
  HeaderChild* children;   // files included directly, each once
  int32_t guardFirstLine;  // of the guard's opening directive, 0 if none; with -Sg
  int32_t guardLastLine;   // of its #endif
  HeaderRecord* next;
};

// The guarded files in chains by the low bits of their names' hashes: a search with
// many directories asks for every candidate.
struct GuardNode;
constexpr uint32_t guardChainCount = 256;
struct GuardChains {
  GuardNode* first[guardChainCount];
};

// What is known of the files of a unit.
struct GuardState {
  // The recognition of "#if !defined(X)" as the first directive of a file: armed
  // before the evaluation, cleared by whatever does not fit; the name that
  // `defined` read, null if none.
  bool notDefinedArmed;
  IdentEntry* notDefinedEntry;

  HeaderRecord* headerList;  // in the order of the first push; the source file comes first
  GuardChains* chains;       // null while there is no guarded file
};

extern GuardState guards;

// Empties the guard table and the statistics; the start of a unit.
void resetGuards();

// True if `name` is known to be guarded by a macro that is defined now.
bool guardAllowsSkip(const char* name);

// Notes that `fileName` is guarded by `macroName`; the first note stays.
void addGuard(const char* fileName, const char* macroName);

// A push of `name` by the file `includer` (null for the source file itself).
void countHeader(const char* name, const char* includer);

// The pop of the file `name`, whose guard has the two lines (0 if none).
void completeHeader(const char* name, int32_t guardFirstLine, int32_t guardLastLine);
