// The trace lines begin with RemoveProvider, the caller that the readers of a trace know.
#include "lsp/catalog_snapshot.h"

#include "trace/trace_log.h"

bool TakeCatalogSnapshot(CatalogSelector catalog, CatalogSnapshot* snapshot) {
    WSAPROTOCOL_INFOW* providers = EnumerateProviders(catalog, &snapshot->providerCount);
    snapshot->providers = LspArray<WSAPROTOCOL_INFOW>(providers);
    if (providers == nullptr) {
        Trace("RemoveProvider: Unable to enumerate catalog!\n");
        return false;
    }
    int error = 0;
    DWORD* order = LspAllocArray<DWORD>(snapshot->providerCount, &error);
    snapshot->order = LspArray<DWORD>(order);
    if (order == nullptr) {
        Trace("RemoveProvider: LspAlloc failed: %d\n", error);
        return false;
    }
    for (const WSAPROTOCOL_INFOW& provider : snapshot->Providers()) {
        *order++ = provider.dwCatalogEntryId;
    }
    LspMap map;
    map.records = BuildLspMap(providers, snapshot->providerCount, &map.length);
    snapshot->map = Owned<LspMap, ReleaseMap>(map);
    if (map.records == nullptr) {
        Trace("RemoveProvider: Unable to build LSP map!\n");
        return false;
    }
    return true;
}
