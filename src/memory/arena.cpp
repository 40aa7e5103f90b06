// Arenas: cleared bytes that are given up together.
//
// A chain of chunks with a bump through the last one. arenaReset keeps the
// first chunk and clears what was used of it, so that an arena which never
// outgrows its first chunk makes no system call after it.

#include <cstring>
#include <new>

#include "memory/memory.h"

// Where the space of a chunk begins.
static Byte* chunkSpace(ArenaChunk* chunk) {
  return reinterpret_cast<Byte*>(chunk + 1);
}

// Makes all of `chunk` free and gives out from it next.
static void useChunk(Arena& arena, ArenaChunk* chunk) {
  arena.tail = chunk;
  arena.cursor = chunkSpace(chunk);
  arena.limit = reinterpret_cast<Byte*>(chunk) + chunk->size;
  poisonMemory(arena.cursor, size_t(arena.limit - arena.cursor));
}

// Adds a chunk with room for `need` bytes at the end of the chain.
VSP_COLD static void addArenaChunk(Arena& arena, size_t need) {
  size_t size = need + sizeof(ArenaChunk);
  if (size < arena.chunkSize) size = arena.chunkSize;
  ArenaChunk* const chunk = new (low_level_get(size)) ArenaChunk{nullptr, size};
  if (arena.tail == nullptr)
    arena.head = chunk;
  else
    arena.tail->next = chunk;
  useChunk(arena, chunk);
}

// Releases `chunk` and all after it.
static void releaseFrom(ArenaChunk* chunk) {
  while (chunk != nullptr) {
    ArenaChunk* const next = chunk->next;
    low_level_rls(chunk, chunk->size);
    chunk = next;
  }
}

void arenaInit(Arena& arena, uint32_t chunkSize) {
  arena = Arena{nullptr, nullptr, nullptr, nullptr, chunkSize};
}

void* arenaAlloc(uint32_t size, Arena& arena) {
  const size_t rounded = ((size == 0 ? size_t{1} : size) + 7) & ~size_t{7};
  if (rounded > size_t(arena.limit - arena.cursor)) [[unlikely]]
    addArenaChunk(arena, rounded);
  Byte* const start = arena.cursor;
  arena.cursor += rounded;
  unpoisonMemory(start, size);
  return start;
}

void arenaReset(Arena& arena) {
  ArenaChunk* const first = arena.head;
  if (first == nullptr) return;
  Byte* const space = chunkSpace(first);
  const Byte* const usedEnd =
      first == arena.tail ? arena.cursor : reinterpret_cast<const Byte*>(first) + first->size;
  ArenaChunk* const others = first->next;
  first->next = nullptr;
  unpoisonMemory(space, size_t(usedEnd - space));
  std::memset(space, 0, size_t(usedEnd - space));
  useChunk(arena, first);
  releaseFrom(others);
}

void arenaFree(Arena& arena) {
  ArenaChunk* const chunks = arena.head;
  arenaInit(arena, arena.chunkSize);
  releaseFrom(chunks);
}
