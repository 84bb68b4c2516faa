#include "lsp/private_heap.h"

#include <winsock2.h>

namespace {

constexpr size_t kInitialHeapBytes = 128000;
HANDLE privateHeap = nullptr;

} // namespace

int LspCreateHeap(int* error) {
    const HANDLE heap = HeapCreate(0, kInitialHeapBytes, 0);
    if (heap == nullptr) {
        *error = kHeapCreationFailed;
        return SOCKET_ERROR;
    }
    privateHeap = heap;
    return 0;
}

void LspReleaseHeap() {
    if (privateHeap != nullptr) {
        HeapDestroy(privateHeap);
        privateHeap = nullptr;
    }
}

void* LspAlloc(size_t bytes, int* error) {
    void* block = HeapAlloc(privateHeap, HEAP_ZERO_MEMORY, bytes);
    if (block == nullptr) {
        *error = WSAENOBUFS;
    }
    return block;
}

void LspFree(void* block) {
    HeapFree(privateHeap, 0, block);
}

void LspFreeIfAny(void* block) {
    if (block != nullptr) {
        LspFree(block);
    }
}
