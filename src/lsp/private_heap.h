// The private heap that every catalog array, map record and id list of the removal comes from.
#pragma once

#include <cstddef>

// Creates the heap.
//   error  receives WSASYSCALLFAILURE on failure
// Returns 0, or SOCKET_ERROR.
int LspCreateHeap(int* error);

// Destroys the heap, and with it everything that was allocated from it. Does nothing when there is none.
void LspReleaseHeap();

// Allocates a zeroed block, which the caller gives back with LspFree.
//   error  receives WSAENOBUFS on failure and is left alone otherwise
// Returns null on failure.
void* LspAlloc(size_t bytes, int* error);

// Allocates a zeroed array of count elements; see LspAlloc.
template <class T> T* LspAllocArray(size_t count, int* error) {
    return static_cast<T*>(LspAlloc(count * sizeof(T), error));
}

// Gives a block back.
//   block  from LspAlloc, not null
void LspFree(void* block);

// Gives a block back unless it is null.
void LspFreeIfAny(void* block);

// Gives its array back when it goes out of scope.
template <class T> struct LspBlock {
    T* data = nullptr;

    LspBlock() = default;
    LspBlock(const LspBlock&) = delete;
    LspBlock& operator=(const LspBlock&) = delete;
    ~LspBlock() { LspFreeIfAny(data); }
};
