// Chain repair, and the two ways of writing repaired chains back.
#include "lsp/dependent_repair.h"

#include "lsp/layer_ids.h"
#include "lsp/private_heap.h"
#include "lsp/provider_entries.h"
#include "trace/trace_log.h"

namespace {

// Takes id out of the chains of the dependent. The message names the target by its hidden id, also when one
// of its layered ids is taken out: readers of the trace look for the one id of the LSP that they removed.
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

void DeinstallDependents(CatalogSelector catalog, const LspEntry* map, const LspEntry& target) {
    for (int d = 0; d < target.dependentCount; ++d) {
        const LspEntry& dependent = map[target.dependents[d]];
        for (int g = 0; g < dependent.layerGuidCount; ++g) {
            DeinstallProvider(catalog, &dependent.layerGuids[g]);
        }
    }
}

void InstallDependent(CatalogSelector catalog, const LspEntry& dependent, WSAPROTOCOL_INFOW* scratch,
                      int scratchSize) {
    for (int g = 0; g < dependent.layerGuidCount; ++g) {
        GUID* guid = &dependent.layerGuids[g];
        int gathered = scratchSize; // room for the largest record, so the gathering cannot fail
        CollectLayersOfGuid(scratch, &gathered, dependent.layers, dependent.layerCount, guid);
        InstallProvider(catalog, guid, dependent.dllPath, scratch, static_cast<DWORD>(gathered));
    }
}

// Finds the dependent's new catalog ids. The buffer is the one of the first enumeration and is searched over
// its full length: where nothing could be read, or the selector reads nothing, the older entries are
// searched.
void RereadAndRelink(CatalogSelector catalog, CatalogSnapshot* snapshot, LspEntry* dependent) {
    DWORD length =
        static_cast<DWORD>(static_cast<size_t>(snapshot->providerCount) * sizeof(WSAPROTOCOL_INFOW));
    if (EnumerateProvidersExisting(catalog, snapshot->providers, &length) == SOCKET_ERROR) {
        Trace("RemoveProvider: EnumerateProvidersExisting failed: %d\n", GetLastError());
    }
    RelinkLayerIds(dependent, snapshot->providers, snapshot->providerCount);
    RenumberOrder(dependent, snapshot->order, snapshot->providerCount);
}

// Carries the new ids of dependents[position] over to the chains of those before it, the nearest first.
void RenumberEarlierDependents(LspEntry* map, const LspEntry& target, int position) {
    const LspEntry& renumbered = map[target.dependents[position]];
    for (int earlier = position - 1; earlier >= 0; --earlier) {
        Trace("Updating IDs for index %d\n", target.dependents[earlier]);
        for (int k = 0; k < renumbered.layerCount; ++k) {
            ReplaceChainId(&map[target.dependents[earlier]], renumbered.layers[k].dwCatalogEntryId,
                           renumbered.layers[k].dwProviderReserved);
        }
    }
}

} // namespace

void FixDependentChains(LspEntry* map, const LspEntry& target) {
    if (target.dependentCount == 0) {
        return;
    }
    const DWORD hiddenId = target.hiddenEntry.dwCatalogEntryId;
    Trace("\n\nOther LSPs are dependent on this one! Additional cleanup is required..\n\n");
    for (int d = 0; d < target.dependentCount; ++d) {
        LspEntry& dependent = map[target.dependents[d]];
        Trace("Fixing LSP index %d: %ws\n", dependent.hiddenEntry.dwCatalogEntryId,
              dependent.hiddenEntry.szProtocol);
        DropFromLayers(dependent, hiddenId, hiddenId);
        for (int m = 0; m < target.layerCount; ++m) {
            DropFromLayers(dependent, target.layers[m].dwCatalogEntryId, hiddenId);
        }
    }
}

void UpdateDependents(CatalogSelector catalog, LspEntry* map, const LspEntry& target) {
    int error = 0; // what the failure message shows when the selector makes no call
    for (int d = 0; d < target.dependentCount; ++d) {
        LspEntry& dependent = map[target.dependents[d]];
        for (int k = 0; k < dependent.layerCount; ++k) {
            if (dependent.layerEdited[k] == 1) {
                UpdateProvider(catalog, &dependent.layers[k].ProviderId, dependent.dllPath,
                               &dependent.layers[k], &error);
            }
        }
    }
}

bool ReinstallDependents(CatalogSelector catalog, CatalogSnapshot* snapshot, const LspEntry& target) {
    int error = 0;
    LspEntry* map = snapshot->map;
    const int scratchSize = LargestLayerCount(map, snapshot->lspCount);
    LspBlock<WSAPROTOCOL_INFOW> scratch;
    scratch.data = LspAllocArray<WSAPROTOCOL_INFOW>(static_cast<size_t>(scratchSize), &error);
    if (scratch.data == nullptr) {
        Trace("RemoveProvider: LspAlloc failed: %d\n", error);
        return false;
    }
    DeinstallDependents(catalog, map, target);
    for (int d = target.dependentCount - 1; d >= 0; --d) {
        LspEntry* dependent = &map[target.dependents[d]];
        InstallDependent(catalog, *dependent, scratch.data, scratchSize);
        RereadAndRelink(catalog, snapshot, dependent);
        RenumberEarlierDependents(map, target, d);
    }
    if (WriteProviderOrder(catalog, snapshot->order, static_cast<DWORD>(snapshot->providerCount), &error) ==
        SOCKET_ERROR) {
        Trace("RemoveProvider: WriteProviderOrder failed: %d\n", error);
    }
    return true;
}
