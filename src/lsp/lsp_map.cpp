// The build of the map, and its smaller functions.
#include "lsp/lsp_map.h"

#include <ws2spi.h>

#include <algorithm>
#include <span>
#include <utility>

#include "lsp/lsp_dependents.h"
#include "lsp/private_heap.h"
#include "lsp/provider_entries.h"
#include "trace/trace_log.h"

namespace {

constexpr int kMaxDepth = MAX_PROTOCOL_CHAIN - 1; // the last position of a chain
constexpr int kNoDepth = kMaxDepth + 1;

// The catalog and the map that is built from it.
struct MapBuild {
    std::span<WSAPROTOCOL_INFOW> providers;
    std::span<LspEntry> lsps; // the LSP records; the orphan record, if any, follows them
    int orphanCount;
};

bool IsOrphan(std::span<const WSAPROTOCOL_INFOW> providers, const WSAPROTOCOL_INFOW& entry) {
    return IsKind(entry, PROTOCOL_CHAIN) &&
           std::ranges::none_of(providers, [&](const WSAPROTOCOL_INFOW& other) {
               return &other != &entry && other.dwCatalogEntryId == entry.ProtocolChain.ChainEntries[0];
           });
}

bool AddGuidOfLayer(LspEntry* entry, GUID* guid) {
    int error = 0;
    if (AddGuidToLspEntry(entry, guid, &error) == SOCKET_ERROR) {
        Trace("BuildLspMap: AddGuidToLspEntry failed: %d\n", error);
        return false;
    }
    return true;
}

bool FillOrphanRecord(const MapBuild& build) {
    int error = 0;
    LspEntry* record = build.lsps.data() + build.lsps.size();
    record->layers = LspAllocArray<WSAPROTOCOL_INFOW>(build.orphanCount, &error);
    if (record->layers == nullptr) {
        Trace("BuildLspMap: LspAlloc failed: %d\n", error);
        return false;
    }
    record->isOrphanSet = 1;
    record->layerCount = build.orphanCount;
    WSAPROTOCOL_INFOW* slot = record->layers;
    for (WSAPROTOCOL_INFOW& entry : build.providers) {
        if (IsOrphan(build.providers, entry)) {
            *slot++ = entry;
            if (!AddGuidOfLayer(record, &entry.ProviderId)) {
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
    record->layers = LspAllocArray<WSAPROTOCOL_INFOW>(layerCount, &error);
    if (record->layers != nullptr) {
        record->layerEdited = LspAllocArray<int>(layerCount, &error);
    }
    if (record->layerEdited == nullptr) {
        Trace("BuildLspMap: LspAlloc failed: %d\n", error);
        return false;
    }
    // The count is set last: with a count but without arrays, later steps would read through a null pointer.
    record->layerCount = layerCount;
    return true;
}

bool FillLspRecord(const MapBuild& build, LspEntry* record, const WSAPROTOCOL_INFOW& hidden) {
    record->hiddenEntry = hidden;
    if (!ReadDllPath(record)) {
        return false;
    }
    const auto isLayer = [&](const WSAPROTOCOL_INFOW& entry) {
        return IsLayerOf(entry, hidden.dwCatalogEntryId);
    };
    if (!AllocateLayers(record, static_cast<int>(std::ranges::count_if(build.providers, isLayer)))) {
        return false;
    }
    WSAPROTOCOL_INFOW* slot = record->layers;
    for (WSAPROTOCOL_INFOW& entry : build.providers) {
        if (!isLayer(entry)) {
            continue;
        }
        *slot++ = entry;
        record->maxChainLen = std::max(record->maxChainLen, entry.ProtocolChain.ChainLen);
        entry.dwProviderReserved = 1; // an LSP owns it
        if (!AddGuidOfLayer(record, &entry.ProviderId)) {
            return false;
        }
    }
    record->depth = kNoDepth;
    return true;
}

bool FillLspRecords(const MapBuild& build) {
    LspEntry* next = build.lsps.data();
    for (const WSAPROTOCOL_INFOW& entry : build.providers) {
        if (!IsKind(entry, LAYERED_PROTOCOL)) {
            continue;
        }
        if (!FillLspRecord(build, next, entry)) {
            return false;
        }
        ++next;
    }
    return true;
}

// Returns false after a trace line when the work ended early.
bool FillRecords(const MapBuild& build) {
    if (build.orphanCount > 0 && !FillOrphanRecord(build)) {
        return false;
    }
    return FillLspRecords(build);
}

// Returns the catalog ids of the base providers, baseCount elements; null after a trace line.
DWORD* CollectBaseIds(std::span<WSAPROTOCOL_INFOW> providers, int* baseCount) {
    *baseCount = GetProviderCount(providers.data(), static_cast<int>(providers.size()), BASE_PROTOCOL);
    if (*baseCount == 0) {
        Trace("BuildLspMap: GetProviderCount(BASE_PROTOCOL) returned zero!\n");
        return nullptr;
    }
    int error = 0;
    DWORD* ids = LspAllocArray<DWORD>(*baseCount, &error);
    if (ids == nullptr) {
        Trace("BuildLspMap: HeapAlloc failed: %d\n", error);
        return nullptr;
    }
    DWORD* slot = ids;
    for (const WSAPROTOCOL_INFOW& entry : providers) {
        if (IsKind(entry, BASE_PROTOCOL)) {
            *slot++ = entry.dwCatalogEntryId;
        }
    }
    return ids;
}

// The first chain position, after the id of the LSP itself, at which a layered entry names a base provider.
// Positions after the end of a chain count as well. Kept, see docs/kept-behaviour.md.
int DepthOf(const LspEntry& record, std::span<const DWORD> baseIds) {
    int depth = kNoDepth;
    for (const WSAPROTOCOL_INFOW& layer : record.Layers()) {
        const DWORD* chain = layer.ProtocolChain.ChainEntries;
        const DWORD* found = std::find_first_of(chain + 1, chain + depth, baseIds.begin(), baseIds.end());
        depth = static_cast<int>(found - chain);
    }
    return depth;
}

// This exchange sort and the next one are not stable. The order that they leave decides which of two LSPs
// with the same DLL name is removed; a sort of the library could leave another order. Kept, see
// docs/kept-behaviour.md.
void SortByDepth(std::span<LspEntry> lsps) {
    for (size_t i = 0; i < lsps.size(); ++i) {
        for (size_t j = i; j < lsps.size(); ++j) {
            if (lsps[i].depth > lsps[j].depth) {
                std::swap(lsps[i], lsps[j]);
            }
        }
    }
}

// Sorts the LSPs of one depth by the length of their chains. The last of them is not moved.
void SortDepthByChainLength(std::span<LspEntry> lsps, int depth) {
    const auto hasDepth = [depth](const LspEntry& lsp) { return lsp.depth == depth; };
    const auto first = std::ranges::find_if(lsps, hasDepth);
    const std::span<LspEntry> run(first, std::find_if_not(first, lsps.end(), hasDepth));
    for (size_t i = 0; i + 1 < run.size(); ++i) {
        for (size_t j = i; j + 1 < run.size(); ++j) {
            if (run[i].maxChainLen > run[j].maxChainLen) {
                std::swap(run[i], run[j]);
            }
        }
    }
}

// Determines the depths, sorts the LSPs and finds their dependents. Returns 0, or SOCKET_ERROR after a trace
// line when there is no memory for the dependents.
int SortAndLink(std::span<LspEntry> lsps, std::span<const DWORD> baseIds) {
    for (LspEntry& lsp : lsps) {
        lsp.depth = DepthOf(lsp, baseIds);
    }
    SortByDepth(lsps);
    for (int depth = 1; depth <= kMaxDepth; ++depth) {
        SortDepthByChainLength(lsps, depth);
    }
    return CheckLspDependency(lsps.data(), static_cast<int>(lsps.size()));
}

// Returns null after a trace line.
LspEntry* AllocateMap(int length) {
    int error = 0;
    LspEntry* map = LspAllocArray<LspEntry>(length, &error);
    if (map == nullptr) {
        Trace("BuildLspMap: LspAlloc failed: %d\n", error);
    }
    return map;
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
    LspEntry* map = AllocateMap(length);
    if (map == nullptr) {
        return nullptr;
    }
    const MapBuild build = {SpanOf(providers, providerCount), SpanOf(map, hiddenCount), orphanCount};
    int baseCount = 0;
    const LspArray<DWORD> baseIds(FillRecords(build) ? CollectBaseIds(build.providers, &baseCount) : nullptr);
    // Without base ids the map is returned as it is.
    if (baseIds.Get() != nullptr &&
        SortAndLink(build.lsps, SpanOf<const DWORD>(baseIds.Get(), baseCount)) == SOCKET_ERROR) {
        ReleaseLspMap(map, length);
        return nullptr;
    }
    StoreCount(lspCount, length);
    return map;
}

void ReleaseLspMap(LspEntry* map, int lspCount) {
    for (const LspEntry& record : SpanOf(map, lspCount)) {
        LspFreeIfAny(record.layers);
        LspFreeIfAny(record.layerGuids);
        LspFreeIfAny(record.layerEdited);
        LspFreeIfAny(record.dependents);
    }
    LspFree(map);
}

int AddGuidToLspEntry(LspEntry* entry, GUID* guid, int* error) {
    // A record without layers starts a new list, whatever its layerGuidCount is. Kept, see
    // docs/kept-behaviour.md.
    const std::span<const GUID> known =
        SpanOf(entry->layerGuids, entry->layerCount == 0 ? 0 : entry->layerGuidCount);
    if (std::ranges::any_of(known, [guid](const GUID& each) { return SameGuid(each, *guid); })) {
        return 0;
    }
    const int count = static_cast<int>(known.size());
    GUID* longer = LspAllocArray<GUID>(count + 1, error);
    if (longer == nullptr) {
        Trace("AddGuidToLspEntry: LspAlloc failed: %d\n", *error);
        return SOCKET_ERROR;
    }
    *std::ranges::copy(known, longer).out = *guid;
    LspFreeIfAny(entry->layerGuids);
    entry->layerGuids = longer;
    entry->layerGuidCount = count + 1;
    return 0;
}

int CountOrphanedEntries(const WSAPROTOCOL_INFOW* providers, int count) {
    const std::span<const WSAPROTOCOL_INFOW> all = SpanOf(providers, count);
    return static_cast<int>(
        std::ranges::count_if(all, [&](const WSAPROTOCOL_INFOW& entry) { return IsOrphan(all, entry); }));
}

int LargestLayerCount(const LspEntry* map, int lspCount) {
    int largest = 0;
    for (const LspEntry& record : SpanOf(map, lspCount)) {
        largest = std::max(largest, record.layerCount);
    }
    return largest;
}
