// The SAVE region: names, macro bodies and types of a unit, in one range of
// addresses that never moves and is used from its low end.
//
//   saveBase      saveCursor        saveCommitEnd      backedEnd       end
//   |  given out  |  room           |  usable already  |  reserved     |
//
// Two ways lead in. carveSAVE moves saveCursor by what it needs. The blob
// allocator takes one commit unit (four pages) at saveCursor at a time and cuts
// its blobs from that open piece; where nobody carved in between, the next unit
// makes the open piece longer, so that a blob may be larger than a unit.
//
// The system is asked for memory in larger steps than a commit unit, and the
// start of the region stays usable between units: that saves a system call per
// unit of commitment and a fault per page. Kept bytes are not zero any more,
// which is why blobs are cleared as they are given out.

#include <cstring>

#include "diag/report.h"
#include "memory/lifecycle.h"
#include "memory/memory.h"
#include "platform/pages.h"

constexpr uintptr_t preferredBase = 0x8000000;
constexpr size_t backingStep = 0x40000;   // asked of the system at once, where the region has it
constexpr size_t keptBacking = 0x100000;  // stays usable when a unit ends
constexpr size_t unusedHead = 16;         // before the first bytes given out

constinit Byte* saveBase = nullptr;
constinit Byte* saveCursor = nullptr;
constinit Byte* saveCommitEnd = nullptr;

static constinit size_t commitUnit = 0;       // four pages of the host
static constinit Byte* backedEnd = nullptr;   // first byte that the system has not made usable
static constinit Byte* blobCursor = nullptr;  // next free byte of the open piece, null if there is none
static constinit Byte* blobLimit = nullptr;   // end of the open piece

// Makes the region usable up to `end` and, if the system has it, some more.
static void backTo(Byte* end) {
  if (end <= backedEnd) return;
  const size_t need = size_t(end - backedEnd);
  const size_t left = saveRegionSize - size_t(backedEnd - saveBase);
  const size_t step = need > backingStep ? need : backingStep < left ? backingStep : left;
  if (commitPages(backedEnd, step)) {
    backedEnd += step;
    return;
  }
  if (!commitPages(backedEnd, need)) failOutOfMemory();
  backedEnd += need;
}

void commitSAVEspace(size_t size) {
  const size_t left = saveBase == nullptr ? 0 : saveRegionSize - size_t(saveCommitEnd - saveBase);
  if (size > left) failOutOfMemory();
  // The limit of the region is a multiple of the unit, so this stays within it.
  const size_t rounded = (size + commitUnit - 1) & ~(commitUnit - 1);
  backTo(saveCommitEnd + rounded);
  poisonMemory(saveCommitEnd, rounded);
  saveCommitEnd += rounded;
}

// Gives nothing out yet, with the first commit unit usable.
static void startRegion() {
  blobCursor = blobLimit = nullptr;
  saveCursor = saveCommitEnd = saveBase;
  commitSAVEspace(commitUnit);
  saveCursor = saveBase + unusedHead;
}

void initSAVEmem() {
  commitUnit = 4 * pageSize();
  saveBase = static_cast<Byte*>(reservePages(reinterpret_cast<void*>(preferredBase), saveRegionSize));
  if (saveBase == nullptr) failOutOfMemory();
  backedEnd = saveBase;
  startRegion();
}

void stopSAVEmem() {
  if (saveBase == nullptr) return;
  Byte* const keptEnd = saveBase + (poisonsMemory ? 0 : keptBacking);
  if (backedEnd > keptEnd) {
    unpoisonMemory(keptEnd, size_t(backedEnd - keptEnd));
    if (!decommitPages(keptEnd, size_t(backedEnd - keptEnd))) failOutOfMemory();
    backedEnd = keptEnd;
  }
  startRegion();
}

void releaseSAVEmem() {
  if (saveBase == nullptr) return;
  unpoisonMemory(saveBase, size_t(backedEnd - saveBase));
  Byte* const base = saveBase;
  saveBase = saveCursor = saveCommitEnd = backedEnd = blobCursor = blobLimit = nullptr;
  if (!releasePages(base, saveRegionSize)) failOutOfMemory();
}

// Takes the next commit unit of the region into the open piece.
VSP_COLD static void extendPiece() {
  if (size_t(saveCommitEnd - saveCursor) < commitUnit) commitSAVEspace(commitUnit);
  if (saveCursor != blobLimit) blobCursor = saveCursor;
  saveCursor += commitUnit;
  blobLimit = saveCursor;
}

void* allocateSAVEblob(uint32_t size) {
  const size_t rounded = (size_t{size} + 7) & ~size_t{7};
  // Without this a hopeless request would first use the whole region up.
  if (rounded > saveRegionSize) [[unlikely]]
    failOutOfMemory();
  while (blobCursor == nullptr || rounded > size_t(blobLimit - blobCursor)) extendPiece();
  Byte* const blob = blobCursor;
  blobCursor += rounded;
  unpoisonMemory(blob, rounded);
  std::memset(blob, 0, rounded);
  return blob;
}
