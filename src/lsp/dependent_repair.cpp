// The repair of the chains, and the two methods of writing the repaired chains to the catalog.
#include "lsp/dependent_repair.h"

#include "lsp/layer_ids.h"
#include "lsp/private_heap.h"
#include "lsp/provider_entries.h"
#include "trace/trace_log.h"

namespace {

// The record of an index from a list of dependents.
LspEntry& At(std::span<LspEntry> map, int index) {
    return map[static_cast<size_t>(index)];
}

// Removes id from the chains of the dependent. The message has the hidden id of the target even if id is one
// of its layered ids, because readers of a trace search for the one id of the LSP that they removed. Kept,
// see docs/kept-behaviour.md.
void DropFromLayers(LspEntry& dependent, DWORD id, DWORD targetHiddenId) {
    for (int k = 0; k < dependent.layerCount; ++k) {
        WSAPROTOCOL_INFOW& layer = dependent.layers[k];
        if (!ChainHasId(&layer, id)) {
            continue;
        }
        Trace("Removing ID %d from layered chain %d: %ws\n", targetHiddenId, layer.dwCatalogEntryId,
              layer.szProtocol);
        if (DropChainId(&layer, id) != 0) {
            dependent.layerEdited[k] = 1;
        } else {
            Trace("RemoveProvider: ID not found in chain!\n");
        }
    }
}

void DeinstallDependents(CatalogSelector catalog, std::span<LspEntry> map, const LspEntry& target) {
    for (const int index : target.Dependents()) {
        for (GUID& guid : At(map, index).LayerGuids()) {
            DeinstallProvider(catalog, &guid);
        }
    }
}

void InstallDependent(CatalogSelector catalog, const LspEntry& dependent, WSAPROTOCOL_INFOW* scratch,
                      int scratchSize) {
    for (GUID& guid : dependent.LayerGuids()) {
        int gathered = scratchSize; // as large as the largest record, so the call cannot fail
        CollectLayersOfGuid(scratch, &gathered, dependent.layers, dependent.layerCount, &guid);
        InstallProvider(catalog, &guid, dependent.dllPath, scratch, static_cast<DWORD>(gathered));
    }
}

// Finds the new catalog ids of the dependent. The buffer is that of the first enumeration, and its full
// length is searched. When the call fails, or reads nothing for this selector, the buffer still has the older
// entries. Kept, see docs/kept-behaviour.md.
void RereadAndRelink(CatalogSelector catalog, CatalogSnapshot& snapshot, LspEntry& dependent) {
    WSAPROTOCOL_INFOW* providers = snapshot.providers.Get();
    DWORD length = static_cast<DWORD>(snapshot.Providers().size_bytes());
    if (EnumerateProvidersExisting(catalog, providers, &length) == SOCKET_ERROR) {
        Trace("RemoveProvider: EnumerateProvidersExisting failed: %d\n", GetLastError());
    }
    RelinkLayerIds(&dependent, providers, snapshot.providerCount);
    RenumberOrder(&dependent, snapshot.order.Get(), snapshot.providerCount);
}

// Replaces the old ids of a dependent by the new ones in the chains of the earlier dependents, the nearest
// first.
void RenumberEarlierDependents(std::span<LspEntry> map, std::span<const int> earlier,
                               const LspEntry& renumbered) {
    for (; !earlier.empty(); earlier = earlier.first(earlier.size() - 1)) {
        Trace("Updating IDs for index %d\n", earlier.back());
        for (const WSAPROTOCOL_INFOW& layer : renumbered.Layers()) {
            ReplaceChainId(&At(map, earlier.back()), layer.dwCatalogEntryId, layer.dwProviderReserved);
        }
    }
}

} // namespace

void FixDependentChains(std::span<LspEntry> map, const LspEntry& target) {
    if (target.dependentCount == 0) {
        return;
    }
    const DWORD hiddenId = target.hiddenEntry.dwCatalogEntryId;
    Trace("\n\nOther LSPs are dependent on this one! Additional cleanup is required..\n\n");
    for (const int index : target.Dependents()) {
        LspEntry& dependent = At(map, index);
        Trace("Fixing LSP index %d: %ws\n", dependent.hiddenEntry.dwCatalogEntryId,
              dependent.hiddenEntry.szProtocol);
        DropFromLayers(dependent, hiddenId, hiddenId);
        for (const WSAPROTOCOL_INFOW& layer : target.Layers()) {
            DropFromLayers(dependent, layer.dwCatalogEntryId, hiddenId);
        }
    }
}

void UpdateDependents(CatalogSelector catalog, std::span<LspEntry> map, const LspEntry& target) {
    int error = 0; // shown in the failure message when the selector makes no call
    for (const int index : target.Dependents()) {
        const LspEntry& dependent = At(map, index);
        for (int k = 0; k < dependent.layerCount; ++k) {
            if (dependent.layerEdited[k] == 1) {
                WSAPROTOCOL_INFOW* layer = &dependent.layers[k];
                UpdateProvider(catalog, &layer->ProviderId, dependent.dllPath, layer, &error);
            }
        }
    }
}

bool ReinstallDependents(CatalogSelector catalog, CatalogSnapshot& snapshot, const LspEntry& target) {
    int error = 0;
    const std::span<LspEntry> map = snapshot.Records();
    const int scratchSize = LargestLayerCount(map.data(), snapshot.map.Get().length);
    const LspArray<WSAPROTOCOL_INFOW> scratch(LspAllocArray<WSAPROTOCOL_INFOW>(scratchSize, &error));
    if (scratch.Get() == nullptr) {
        Trace("RemoveProvider: LspAlloc failed: %d\n", error);
        return false;
    }
    DeinstallDependents(catalog, map, target);
    for (std::span<const int> left = target.Dependents(); !left.empty();) {
        LspEntry& dependent = At(map, left.back());
        left = left.first(left.size() - 1);
        InstallDependent(catalog, dependent, scratch.Get(), scratchSize);
        RereadAndRelink(catalog, snapshot, dependent);
        RenumberEarlierDependents(map, left, dependent);
    }
    const DWORD count = static_cast<DWORD>(snapshot.providerCount);
    if (WriteProviderOrder(catalog, snapshot.order.Get(), count, &error) == SOCKET_ERROR) {
        Trace("RemoveProvider: WriteProviderOrder failed: %d\n", error);
    }
    return true;
}
