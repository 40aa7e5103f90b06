// The pool: blocks by size class, given up all at once when the unit ends.
//
// A request is served by the first of 39 classes that holds it and a head of
// four bytes. A block given back goes on the list of its class and comes back
// first; it is never merged with others. New blocks are cut off the newest
// chunk that has room, and a new chunk is a multiple of 256 KiB.
//
//   | chunk head | 4 | head | user's bytes ... | head | user's bytes ...
//                ^ multiple of 8    ^ multiple of 8    ^ and so on
//
// All class sizes but the last are multiples of 8 and the first block starts 4
// bytes past one, so the bytes of every user are aligned. The head holds the
// class; the link of a free block stands in its user's bytes, where a pointer
// is aligned.
//
// One ordinary chunk is kept between units: its pages are touched already, and
// touching a fresh page costs more than all the work on a small block.

#include <array>
#include <bit>
#include <cstring>
#include <new>

#include "diag/report.h"
#include "memory/lifecycle.h"
#include "memory/memory.h"

constexpr int sizeClassCount = 39;
constexpr int firstPowerClass = 14;  // from here the sizes are powers of two, plus 8
constexpr uint32_t blockHeadSize = 4;
constexpr size_t chunkRounding = 0x40000;

constexpr std::array<uint32_t, sizeClassCount> sizeClass = [] {
  std::array<uint32_t, sizeClassCount> table{16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160, 192};
  for (int i = firstPowerClass; i < sizeClassCount - 1; ++i)
    table[size_t(i)] = (uint32_t{1} << (i - firstPowerClass + 8)) + 8;
  table[sizeClassCount - 1] = 0xFFFFFFFF;
  return table;
}();
static_assert(sizeClass[13] == 192 && sizeClass[firstPowerClass] == 264 && sizeClass[15] == 520);
static_assert(sizeClass[37] == 0x80000008 && sizeClass[38] == 0xFFFFFFFF);

// The class of small blocks, by their size in units.
constexpr uint32_t blockUnit = 8;
constexpr uint32_t largestSmall = sizeClass[firstPowerClass];
constexpr std::array<Byte, largestSmall / blockUnit + 1> smallClass = [] {
  std::array<Byte, largestSmall / blockUnit + 1> table{};
  int index = 0;
  for (size_t units = 0; units < table.size(); ++units) {
    while (sizeClass[size_t(index)] < units * blockUnit) ++index;
    table[units] = Byte(index);
  }
  return table;
}();
static_assert(smallClass[0] == 0 && smallClass[2] == 0 && smallClass[3] == 1 && smallClass[33] == 14);

// The first class that holds a block of `need` bytes, its head included.
static constexpr uint32_t classFor(uint32_t need) {
  if (need <= largestSmall) return smallClass[(need + blockUnit - 1) / blockUnit];
  const int power = int(std::bit_width(need - 9));  // the least with 2^power + 8 >= need
  return power > 31 ? sizeClassCount - 1 : uint32_t(firstPowerClass + power - 8);
}
static_assert(classFor(264) == 14 && classFor(265) == 15 && classFor(520) == 15 && classFor(521) == 16);
static_assert(classFor(0x80000008) == 37 && classFor(0x80000009) == 38 && classFor(0xFFFFFFFF) == 38);

// A chunk of the pool; its blocks follow.
struct PoolChunk {
  PoolChunk* next;   // an older chunk
  size_t size;       // of the whole chunk, in bytes
  size_t freeBytes;  // after `cursor`
  Byte* cursor;      // where the next block begins
};
constexpr size_t chunkHeadSize = sizeof(PoolChunk) + 4;
static_assert(chunkHeadSize % 8 == 4);

static constinit PoolChunk* newestChunk = nullptr;
static constinit Byte* freeList[sizeClassCount] =
    {};  // user's bytes of the free blocks, last given back first

// Head and link lie in poisoned bytes, which only these four may touch.
[[gnu::no_sanitize_address]] static uint32_t blockClass(const Byte* user) {
  return *reinterpret_cast<const uint32_t*>(user - blockHeadSize);
}
[[gnu::no_sanitize_address]] static void setBlockClass(Byte* user, uint32_t index) {
  new (user - blockHeadSize) uint32_t(index);
}
[[gnu::no_sanitize_address]] static Byte* freeLink(Byte* user) {
  return *reinterpret_cast<Byte**>(user);
}
[[gnu::no_sanitize_address]] static void setFreeLink(Byte* user, Byte* link) {
  new (user) Byte*(link);
}

// Makes all of a chunk free again.
static void emptyChunk(PoolChunk* chunk) {
  Byte* const start = reinterpret_cast<Byte*>(chunk);
  chunk->cursor = start + chunkHeadSize;
  chunk->freeBytes = chunk->size - chunkHeadSize;
  poisonMemory(start + sizeof(PoolChunk), chunk->size - sizeof(PoolChunk));
}

// Puts a chunk that holds a block of `blockSize` bytes before the others.
VSP_COLD static void addChunk(size_t blockSize) {
  const size_t size = (blockSize + chunkHeadSize + chunkRounding - 1) & ~(chunkRounding - 1);
  PoolChunk* const chunk = new (low_level_get(size)) PoolChunk{newestChunk, size, 0, nullptr};
  emptyChunk(chunk);
  newestChunk = chunk;
}

// Cuts a block of class `index` off the newest chunk with room.
static Byte* cutBlock(uint32_t index) {
  // The last class is no multiple of 8; the block after it must be aligned.
  const size_t blockSize = (size_t{sizeClass[index]} + 7) & ~size_t{7};
  for (;;) {
    for (PoolChunk* chunk = newestChunk; chunk != nullptr; chunk = chunk->next) {
      if (chunk->freeBytes < blockSize) continue;
      Byte* const user = chunk->cursor + blockHeadSize;
      chunk->cursor += blockSize;
      chunk->freeBytes -= blockSize;
      return user;
    }
    addChunk(blockSize);
  }
}

void* memAlloc(uint32_t size) {
  if (size > UINT32_MAX - blockHeadSize) [[unlikely]]
    failOutOfMemory();
  const uint32_t index = classFor(size + blockHeadSize);
  Byte* user = freeList[index];
  if (user != nullptr)
    freeList[index] = freeLink(user);
  else
    user = cutBlock(index);
  setBlockClass(user, index);
  unpoisonMemory(user, size);
  return user;
}

void memFree(void* block) {
  if (block == nullptr) return;
  Byte* const user = static_cast<Byte*>(block);
  const uint32_t index = blockClass(user);
  setFreeLink(user, freeList[index]);
  freeList[index] = user;
  poisonMemory(user, sizeClass[index] - blockHeadSize);
}

char* memCopy(const char* text, size_t length) {
  if (length >= UINT32_MAX) [[unlikely]]
    failOutOfMemory();
  char* const copy = static_cast<char*>(memAlloc(uint32_t(length + 1)));
  std::memcpy(copy, text, length);
  copy[length] = 0;
  return copy;
}

// Releases all chunks, but for one of the ordinary size if `keepOne` is set.
static void releaseChunks(bool keepOne) {
  for (Byte*& list : freeList) list = nullptr;
  PoolChunk* kept = nullptr;
  while (newestChunk != nullptr) {
    PoolChunk* const chunk = newestChunk;
    // Unlinked first: a release that fails must not leave it to be released again.
    newestChunk = chunk->next;
    if (keepOne && kept == nullptr && chunk->size == chunkRounding)
      kept = chunk;
    else
      low_level_rls(chunk, chunk->size);
  }
  if (kept == nullptr) return;
  kept->next = nullptr;
  emptyChunk(kept);
  newestChunk = kept;
}

void poolEndUnit() {
  releaseChunks(!poisonsMemory);
}

void poolStop() {
  releaseChunks(false);
}
