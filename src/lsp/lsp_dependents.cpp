// The lists of dependents, found by the catalog ids in the chains.
#include "lsp/lsp_dependents.h"

#include <algorithm>

#include "lsp/private_heap.h"
#include "lsp/provider_entries.h"
#include "trace/trace_log.h"

namespace {

bool PrependDependent(LspEntry* entry, int index) {
    int error = 0;
    const int count = entry->dependentCount;
    int* longer = LspAllocArray<int>(static_cast<size_t>(count) + 1, &error);
    if (longer == nullptr) {
        Trace("CheckLspDependency: LspAlloc failed: %d\n", error);
        return false;
    }
    longer[0] = index;
    std::copy(entry->dependents, entry->dependents + count, longer + 1);
    LspFreeIfAny(entry->dependents);
    entry->dependents = longer;
    entry->dependentCount = count + 1;
    return true;
}

bool NamesAnyLayer(const LspEntry& over, const LspEntry& under) {
    for (int k = 0; k < over.layerCount; ++k) {
        for (int m = 0; m < under.layerCount; ++m) {
            if (ChainHasId(&over.layers[k], under.layers[m].dwCatalogEntryId)) {
                return true;
            }
        }
    }
    return false;
}

// Adds map[over] to the dependents of map[under], once for each of its layered entries that names the hidden
// id of map[under]. When none does, adds it once if any of them names a layered id of map[under]. Returns
// false when there is no memory.
bool AddIfDependent(LspEntry* map, int under, int over) {
    bool found = false;
    for (int k = 0; k < map[over].layerCount; ++k) {
        if (ChainHasId(&map[over].layers[k], map[under].hiddenEntry.dwCatalogEntryId)) {
            if (!PrependDependent(&map[under], over)) {
                return false;
            }
            found = true;
        }
    }
    return found || !NamesAnyLayer(map[over], map[under]) || PrependDependent(&map[under], over);
}

} // namespace

int CheckLspDependency(LspEntry* map, int lspCount) {
    for (int under = 0; under < lspCount; ++under) {
        for (int over = 0; over < lspCount; ++over) {
            if (over != under && !AddIfDependent(map, under, over)) {
                return SOCKET_ERROR;
            }
        }
    }
    return 0;
}
