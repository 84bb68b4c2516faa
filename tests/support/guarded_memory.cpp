#include "support/guarded_memory.h"

#include <windows.h>

namespace {

constexpr size_t kPageSize = 4096;

} // namespace

void* AllocateGuarded(size_t size) {
    const size_t pages = (size + kPageSize - 1) / kPageSize * kPageSize;
    auto* block = static_cast<BYTE*>(
        VirtualAlloc(nullptr, pages + kPageSize, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE));
    DWORD before = 0;
    VirtualProtect(block + pages, kPageSize, PAGE_NOACCESS, &before);
    return block + pages - size;
}

void FreeGuarded(void* block) {
    MEMORY_BASIC_INFORMATION memory = {};
    VirtualQuery(block, &memory, sizeof(memory));
    VirtualFree(memory.AllocationBase, 0, MEM_RELEASE);
}
