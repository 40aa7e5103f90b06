// The allocators of the program, all on the page calls of the platform.
//
// What is allocated for a translation unit goes when the unit ends, all at
// once. Four lifetimes, four allocators:
//
//   permAlloc            bytes, not cleared, for the whole run
//   memAlloc / memFree   blocks by size class, not cleared, gone with the unit
//   allocateSAVEblob,    cleared bytes of the SAVE region, gone with the unit
//   carveSAVE
//   arenaAlloc           cleared bytes, until arenaReset or arenaFree
//
// No allocator returns null: an exhausted one ends the unit with "Out of
// memory". All give addresses that are multiples of 8.

#pragma once

#include <new>

#include "base.h"
#include "memory/poison.h"

// Life of the layer: the start of a run, the end of each unit, and the end, which only a
// second run in the same process needs.
void memoryStart();
void memoryEndUnit();
void memoryStop();

// Whole committed ranges from the system, reading as 0. `size` is in bytes.
void* low_level_get(size_t size);
void low_level_rls(void* range, size_t size);

// Bytes for the rest of the run.
void* permAlloc(size_t size);

// A record for the rest of the run.
template <typename Record>
Record* permRecord() {
  static_assert(alignof(Record) <= 8);
  return new (permAlloc(sizeof(Record))) Record;
}

// A copy of `length` bytes of `text` with a NUL after them, for the run.
char* permCopy(const char* text, size_t length);

// A block of `size` bytes.
void* memAlloc(uint32_t size);

// Gives a block of memAlloc back; null is ignored.
void memFree(void* block);

// A copy of `length` bytes of `text` with a NUL after them, until the unit ends.
char* memCopy(const char* text, size_t length);

// Sets the SAVE region up; empties it. The region is one range of addresses
// that never moves, used from its low end. Nothing is ever given out at offset
// 0, so that an offset of 0 can mean none.
void initSAVEmem();
void stopSAVEmem();

constexpr size_t saveRegionSize = 0x4000000;  // 64 MiB, the limit of a unit

extern Byte* saveBase;       // start of the region, null before initSAVEmem
extern Byte* saveCursor;     // first byte not given out yet
extern Byte* saveCommitEnd;  // first byte after the committed part

// `size` cleared bytes of the region.
void* allocateSAVEblob(uint32_t size);

// Commits `size` more bytes after saveCommitEnd, rounded up to the commit unit.
void commitSAVEspace(size_t size);

// Cuts `size` bytes, rounded up to a multiple of 8, off the region: the hot
// path of names and macro bodies. The bytes are not cleared.
VSP_INLINE Byte* carveSAVE(size_t size) {
  size = (size + 7) & ~size_t{7};
  if (size > size_t(saveCommitEnd - saveCursor)) [[unlikely]]
    commitSAVEspace(size - size_t(saveCommitEnd - saveCursor));
  Byte* const start = saveCursor;
  saveCursor += size;
  unpoisonMemory(start, size);
  return start;
}

// A chunk of an arena; its space follows.
struct ArenaChunk {
  ArenaChunk* next;
  size_t size;  // of the whole chunk, in bytes
};

// Bytes that are given up together.
struct Arena {
  ArenaChunk* head;    // the chunk that outlives arenaReset
  ArenaChunk* tail;    // the chunk that `cursor` and `limit` point into
  Byte* cursor;        // next free byte, null while there is no chunk
  Byte* limit;         // end of the chunk
  uint32_t chunkSize;  // of a new chunk, in bytes
};

// Makes `arena` empty, with chunks of `chunkSize` bytes. Gets no memory yet.
void arenaInit(Arena& arena, uint32_t chunkSize);

// `size` cleared bytes of `arena`.
void* arenaAlloc(uint32_t size, Arena& arena);

// Gives all chunks but the first back, and clears that one.
void arenaReset(Arena& arena);

// Gives all chunks back.
void arenaFree(Arena& arena);
