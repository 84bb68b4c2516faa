// The trace lines begin with RemoveProvider, the caller that their readers know.
#include "lsp/catalog_snapshot.h"

#include "lsp/private_heap.h"
#include "trace/trace_log.h"

CatalogSnapshot::~CatalogSnapshot() {
    LspFreeIfAny(providers);
    if (map != nullptr) {
        ReleaseLspMap(map, lspCount);
    }
    LspFreeIfAny(order);
}

bool TakeCatalogSnapshot(CatalogSelector catalog, CatalogSnapshot* snapshot) {
    snapshot->providers = EnumerateProviders(catalog, &snapshot->providerCount);
    if (snapshot->providers == nullptr) {
        Trace("RemoveProvider: Unable to enumerate catalog!\n");
        return false;
    }
    int error = 0;
    snapshot->order = LspAllocArray<DWORD>(static_cast<size_t>(snapshot->providerCount), &error);
    if (snapshot->order == nullptr) {
        Trace("RemoveProvider: LspAlloc failed: %d\n", error);
        return false;
    }
    for (int i = 0; i < snapshot->providerCount; ++i) {
        snapshot->order[i] = snapshot->providers[i].dwCatalogEntryId;
    }
    snapshot->map = BuildLspMap(snapshot->providers, snapshot->providerCount, &snapshot->lspCount);
    if (snapshot->map == nullptr) {
        Trace("RemoveProvider: Unable to build LSP map!\n");
        return false;
    }
    return true;
}
