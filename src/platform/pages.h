// Address ranges from the system: reserve, commit, decommit, release. Sizes and
// addresses are multiples of pageSize(). A reservation costs no memory. Failures
// are returned, never fatal here.

#pragma once

#include "base.h"

// The host's page size in bytes.
size_t pageSize();

// Reserves `size` bytes of addresses, near `wanted` if that is free. Null on failure.
void* reservePages(void* wanted, size_t size);

// Makes a part of a reservation usable; its bytes read as 0. False on failure.
bool commitPages(void* start, size_t size);

// Gives the memory of a part of a reservation back and makes it unusable again.
bool decommitPages(void* start, size_t size);

// Gives a whole reservation, or a range from allocatePages, back.
bool releasePages(void* start, size_t size);

// Reserves and commits in one step; the bytes read as 0. Null on failure.
void* allocatePages(size_t size);
