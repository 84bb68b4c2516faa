// Memory that ends at a page without access, so that reading or writing one byte too far ends the run.
#pragma once

#include <cstddef>

// Allocates a zeroed block of size bytes whose end is the end of accessible memory. FreeGuarded releases it.
void* AllocateGuarded(size_t size);

// Releases a block of AllocateGuarded.
void FreeGuarded(void* block);
