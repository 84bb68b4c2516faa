// The lists of dependents, which follow from the catalog ids in the chains.
#include "lsp/lsp_dependents.h"

#include <algorithm>
#include <cstddef>

#include "lsp/private_heap.h"
#include "lsp/provider_entries.h"
#include "trace/trace_log.h"

namespace {

bool PrependDependent(LspEntry* entry, int index) {
    int error = 0;
    int* longer = LspAllocArray<int>(entry->dependentCount + 1, &error);
    if (longer == nullptr) {
        Trace("CheckLspDependency: LspAlloc failed: %d\n", error);
        return false;
    }
    longer[0] = index;
    std::ranges::copy(entry->Dependents(), longer + 1);
    LspFreeIfAny(entry->dependents);
    entry->dependents = longer;
    ++entry->dependentCount;
    return true;
}

// The number of layered entries of over whose chain names catalogId.
ptrdiff_t CountNaming(const LspEntry& over, DWORD catalogId) {
    return std::ranges::count_if(
        over.Layers(), [&](const WSAPROTOCOL_INFOW& layer) { return ChainHasId(&layer, catalogId); });
}

bool NamesAnyLayer(const LspEntry& over, const LspEntry& under) {
    return std::ranges::any_of(under.Layers(), [&](const WSAPROTOCOL_INFOW& layer) {
        return CountNaming(over, layer.dwCatalogEntryId) > 0;
    });
}

// How many times over is in the list of dependents of under.
ptrdiff_t CountDependencies(const LspEntry& over, const LspEntry& under) {
    const ptrdiff_t naming = CountNaming(over, under.hiddenEntry.dwCatalogEntryId);
    if (naming > 0) {
        return naming;
    }
    return NamesAnyLayer(over, under) ? 1 : 0;
}

// Adds map[over] to the dependents of map[under]. Returns false after a trace line when there is no memory.
bool AddIfDependent(LspEntry* map, int under, int over) {
    for (ptrdiff_t left = CountDependencies(map[over], map[under]); left > 0; --left) {
        if (!PrependDependent(&map[under], over)) {
            return false;
        }
    }
    return true;
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
