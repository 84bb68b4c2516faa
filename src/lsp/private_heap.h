// The private heap from which every catalog array, map record and id list of the removal is allocated.
#pragma once

#include <cstddef>

#include "common/owned.h"

// The error of LspCreateHeap. It is not the SDK's WSASYSCALLFAILURE, which is 10107.
constexpr int kHeapCreationFailed = 10106;

// Creates the heap.
//   error  receives kHeapCreationFailed on failure
// Returns 0, or SOCKET_ERROR. A heap that exists remains in use after a failure.
int LspCreateHeap(int* error);

// Destroys the heap, and with it everything that was allocated from it. Does nothing when there is no heap.
void LspReleaseHeap();

// Allocates a zeroed block, which the caller frees with LspFree.
//   error  receives WSAENOBUFS on failure, and remains unchanged otherwise
// Returns null on failure.
void* LspAlloc(size_t bytes, int* error);

// Allocates a zeroed array of count elements; see LspAlloc.
template <class T> T* LspAllocArray(int count, int* error) {
    return static_cast<T*>(LspAlloc(static_cast<size_t>(count) * sizeof(T), error));
}

// Frees a block.
//   block  from LspAlloc, not null
void LspFree(void* block);

// Frees a block unless it is null.
void LspFreeIfAny(void* block);

// Owns an array that was allocated from the heap.
template <class T> using LspArray = Owned<T*, LspFree>;
