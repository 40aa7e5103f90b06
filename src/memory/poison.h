// Marks for the address sanitizer on memory that the allocators hold back.
//
// The sanitizer knows the blocks of malloc, but our allocators cut their blocks
// from whole pages. In a sanitizer build they therefore poison every byte that
// is not given out, so that a read past a block or of a block given back is
// found. In any other build these calls are empty.

#pragma once

#include "base.h"

#if defined(__SANITIZE_ADDRESS__)
#define VSP_POISON 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define VSP_POISON 1
#endif
#endif

#ifdef VSP_POISON

extern "C" void __asan_poison_memory_region(const volatile void* start, size_t size);
extern "C" void __asan_unpoison_memory_region(const volatile void* start, size_t size);

// Set where memory is poisoned, and so is better given back than kept.
constexpr bool poisonsMemory = true;

inline void poisonMemory(const void* start, size_t size) {
  __asan_poison_memory_region(start, size);
}
inline void unpoisonMemory(const void* start, size_t size) {
  __asan_unpoison_memory_region(start, size);
}

#else

constexpr bool poisonsMemory = false;

inline void poisonMemory(const void*, size_t) {}
inline void unpoisonMemory(const void*, size_t) {}

#endif
