// Building the map, and what the removal asks of it.
#include "lsp/lsp_map.h"

#include <ws2spi.h>

#include <algorithm>
#include <utility>

#include "lsp/lsp_dependents.h"
#include "lsp/private_heap.h"
#include "lsp/provider_entries.h"
#include "trace/trace_log.h"

namespace {

constexpr int kMaxDepth = MAX_PROTOCOL_CHAIN - 1; // the last position of a chain
constexpr int kNoDepth = kMaxDepth + 1;

// The catalog being mapped and the map in the making.
struct MapBuild {
    WSAPROTOCOL_INFOW* providers;
    int providerCount;
    LspEntry* map;
    int lspCount; // LSP records; the orphan record, if any, stands behind them
};

bool IsOrphan(const WSAPROTOCOL_INFOW* providers, int count, int index) {
    const WSAPROTOCOL_INFOW& entry = providers[index];
    if (!IsKind(entry, PROTOCOL_CHAIN)) {
        return false;
    }
    for (int i = 0; i < count; ++i) {
        if (i != index && providers[i].dwCatalogEntryId == entry.ProtocolChain.ChainEntries[0]) {
            return false;
        }
    }
    return true;
}

bool AddGuidOfLayer(LspEntry* entry, GUID* guid) {
    int error = 0;
    if (AddGuidToLspEntry(entry, guid, &error) == SOCKET_ERROR) {
        Trace("BuildLspMap: AddGuidToLspEntry failed: %d\n", error);
        return false;
    }
    return true;
}

bool FillOrphanRecord(const MapBuild& build, int orphanCount) {
    int error = 0;
    LspEntry* record = &build.map[build.lspCount];
    record->layers = LspAllocArray<WSAPROTOCOL_INFOW>(static_cast<size_t>(orphanCount), &error);
    if (record->layers == nullptr) {
        Trace("BuildLspMap: LspAlloc failed: %d\n", error);
        return false;
    }
    record->isOrphanSet = 1;
    record->layerCount = orphanCount;
    int slot = 0;
    for (int i = 0; i < build.providerCount; ++i) {
        if (IsOrphan(build.providers, build.providerCount, i)) {
            record->layers[slot++] = build.providers[i];
            if (!AddGuidOfLayer(record, &build.providers[i].ProviderId)) {
                return false;
            }
        }
    }
    return true;
}

bool ReadDllPath(LspEntry* record) {
    int error = 0;
    int length = kDllPathSize - 1;
    if (WSCGetProviderPath(&record->hiddenEntry.ProviderId, record->dllPath, &length, &error) ==
        SOCKET_ERROR) {
        Trace("BuildLspMap: WSCGetProviderPath failed: %d\n", error);
        return false;
    }
    record->dllPath[kDllPathSize - 1] = L'\0';
    return true;
}

bool AllocateLayers(LspEntry* record, int layerCount) {
    int error = 0;
    record->layers = LspAllocArray<WSAPROTOCOL_INFOW>(static_cast<size_t>(layerCount), &error);
    if (record->layers != nullptr) {
        record->layerEdited = LspAllocArray<int>(static_cast<size_t>(layerCount), &error);
    }
    if (record->layerEdited == nullptr) {
        Trace("BuildLspMap: LspAlloc failed: %d\n", error);
        return false;
    }
    // Set only now: with a count but without the arrays, later steps would read through a null pointer.
    record->layerCount = layerCount;
    return true;
}

bool FillLspRecord(const MapBuild& build, LspEntry* record, const WSAPROTOCOL_INFOW& hidden) {
    record->hiddenEntry = hidden;
    if (!ReadDllPath(record)) {
        return false;
    }
    const WSAPROTOCOL_INFOW* end = build.providers + build.providerCount;
    const auto isLayer = [&](const WSAPROTOCOL_INFOW& entry) {
        return IsLayerOf(entry, hidden.dwCatalogEntryId);
    };
    const auto layerCount = std::count_if(build.providers, build.providers + build.providerCount, isLayer);
    if (!AllocateLayers(record, static_cast<int>(layerCount))) {
        return false;
    }
    int slot = 0;
    for (WSAPROTOCOL_INFOW* entry = build.providers; entry != end; ++entry) {
        if (!isLayer(*entry)) {
            continue;
        }
        record->layers[slot++] = *entry;
        record->maxChainLen = std::max(record->maxChainLen, entry->ProtocolChain.ChainLen);
        entry->dwProviderReserved = 1; // tells the caller that an LSP owns it
        if (!AddGuidOfLayer(record, &entry->ProviderId)) {
            return false;
        }
    }
    record->depth = kNoDepth;
    return true;
}

bool FillLspRecords(const MapBuild& build) {
    int next = 0;
    for (int i = 0; i < build.providerCount; ++i) {
        if (IsKind(build.providers[i], LAYERED_PROTOCOL) &&
            !FillLspRecord(build, &build.map[next++], build.providers[i])) {
            return false;
        }
    }
    return true;
}

// Returns the catalog ids of the base providers, in baseCount elements; null after a trace line.
DWORD* CollectBaseIds(const MapBuild& build, int* baseCount) {
    *baseCount = GetProviderCount(build.providers, build.providerCount, BASE_PROTOCOL);
    if (*baseCount == 0) {
        Trace("BuildLspMap: GetProviderCount(BASE_PROTOCOL) returned zero!\n");
        return nullptr;
    }
    int error = 0;
    DWORD* ids = LspAllocArray<DWORD>(static_cast<size_t>(*baseCount), &error);
    if (ids == nullptr) {
        Trace("BuildLspMap: HeapAlloc failed: %d\n", error);
        return nullptr;
    }
    int slot = 0;
    for (int i = 0; i < build.providerCount; ++i) {
        if (IsKind(build.providers[i], BASE_PROTOCOL)) {
            ids[slot++] = build.providers[i].dwCatalogEntryId;
        }
    }
    return ids;
}

// The first chain position, behind the LSP's own id, at which any of the layered entries names a base
// provider. ChainLen does not matter: the elements behind it count as well.
int DepthOf(const LspEntry& record, const DWORD* baseIds, int baseCount) {
    int depth = kNoDepth;
    for (int k = 0; k < record.layerCount; ++k) {
        const DWORD* chain = record.layers[k].ProtocolChain.ChainEntries;
        for (int position = 1; position < depth; ++position) {
            if (std::find(baseIds, baseIds + baseCount, chain[position]) != baseIds + baseCount) {
                depth = position;
            }
        }
    }
    return depth;
}

// This exchange sort and the next one are not stable. The order that they leave decides which of two LSPs
// with the same DLL name is removed. With a library sort it could be the other one. Kept, see
// docs/kept-behaviour.md.
void SortByDepth(LspEntry* map, int lspCount) {
    for (int i = 0; i < lspCount; ++i) {
        for (int j = i; j < lspCount; ++j) {
            if (map[i].depth > map[j].depth) {
                std::swap(map[i], map[j]);
            }
        }
    }
}

// Within one depth, shorter chains come first. The last record of a depth stays where it is.
void SortDepthByChainLength(LspEntry* map, int lspCount, int depth) {
    int first = 0;
    while (first < lspCount && map[first].depth != depth) {
        ++first;
    }
    int last = first;
    while (last + 1 < lspCount && map[last + 1].depth == depth) {
        ++last;
    }
    for (int i = first; i < last; ++i) {
        for (int j = i; j < last; ++j) {
            if (map[i].maxChainLen > map[j].maxChainLen) {
                std::swap(map[i], map[j]);
            }
        }
    }
}

void SortLsps(LspEntry* map, int lspCount) {
    SortByDepth(map, lspCount);
    for (int depth = 1; depth <= kMaxDepth; ++depth) {
        SortDepthByChainLength(map, lspCount, depth);
    }
}

// Fills the map as far as it can. Returns false only when there is no memory for the dependents, without
// which the map is of no use.
bool FillMap(const MapBuild& build, int orphanCount) {
    if ((orphanCount > 0 && !FillOrphanRecord(build, orphanCount)) || !FillLspRecords(build)) {
        return true;
    }
    int baseCount = 0;
    DWORD* baseIds = CollectBaseIds(build, &baseCount);
    if (baseIds == nullptr) {
        return true;
    }
    for (int i = 0; i < build.lspCount; ++i) {
        build.map[i].depth = DepthOf(build.map[i], baseIds, baseCount);
    }
    SortLsps(build.map, build.lspCount);
    const int checked = CheckLspDependency(build.map, build.lspCount);
    LspFree(baseIds);
    return checked != SOCKET_ERROR;
}

void StoreCount(int* lspCount, int count) {
    if (lspCount != nullptr) {
        *lspCount = count;
    }
}

} // namespace

LspEntry* BuildLspMap(WSAPROTOCOL_INFOW* providers, int providerCount, int* lspCount) {
    StoreCount(lspCount, 0);
    const int orphanCount = CountOrphanedEntries(providers, providerCount);
    const int hiddenCount = GetProviderCount(providers, providerCount, LAYERED_PROTOCOL);
    if (orphanCount == 0 && hiddenCount == 0) {
        Trace("BuildLspMap: No LSP installed on the system!\n");
        return nullptr;
    }
    const int length = hiddenCount + (orphanCount > 0 ? 1 : 0);
    int error = 0;
    LspEntry* map = LspAllocArray<LspEntry>(static_cast<size_t>(length), &error);
    if (map == nullptr) {
        Trace("BuildLspMap: LspAlloc failed: %d\n", error);
        return nullptr;
    }
    if (!FillMap({providers, providerCount, map, hiddenCount}, orphanCount)) {
        ReleaseLspMap(map, length);
        return nullptr;
    }
    StoreCount(lspCount, length);
    return map;
}

void ReleaseLspMap(LspEntry* map, int lspCount) {
    for (int i = 0; i < lspCount; ++i) {
        LspFreeIfAny(map[i].layers);
        LspFreeIfAny(map[i].layerGuids);
        LspFreeIfAny(map[i].layerEdited);
        LspFreeIfAny(map[i].dependents);
    }
    LspFree(map);
}

int AddGuidToLspEntry(LspEntry* entry, GUID* guid, int* error) {
    // A record without layers starts its list anew, whatever its layerGuidCount says.
    const int known = entry->layerCount == 0 ? 0 : entry->layerGuidCount;
    for (int i = 0; i < known; ++i) {
        if (SameGuid(entry->layerGuids[i], *guid)) {
            return 0;
        }
    }
    GUID* longer = LspAllocArray<GUID>(static_cast<size_t>(known) + 1, error);
    if (longer == nullptr) {
        Trace("AddGuidToLspEntry: LspAlloc failed: %d\n", *error);
        return SOCKET_ERROR;
    }
    std::copy(entry->layerGuids, entry->layerGuids + known, longer);
    longer[known] = *guid;
    LspFreeIfAny(entry->layerGuids);
    entry->layerGuids = longer;
    entry->layerGuidCount = known + 1;
    return 0;
}

int CountOrphanedEntries(const WSAPROTOCOL_INFOW* providers, int count) {
    int orphans = 0;
    for (int i = 0; i < count; ++i) {
        orphans += IsOrphan(providers, count, i) ? 1 : 0;
    }
    return orphans;
}

int LargestLayerCount(const LspEntry* map, int lspCount) {
    int largest = 0;
    for (int i = 0; i < lspCount; ++i) {
        largest = std::max(largest, map[i].layerCount);
    }
    return largest;
}
