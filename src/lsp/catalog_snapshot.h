// The result of one enumeration of a catalog, and the map of its LSPs.
#pragma once

#include <span>

#include "lsp/lsp_map.h"
#include "lsp/private_heap.h"
#include "lsp/provider_catalog.h"

// A map and its length.
struct LspMap {
    LspEntry* records = nullptr;
    int length = 0; // with the orphan record

    bool operator==(const LspMap&) const = default;
};

inline void ReleaseMap(LspMap map) {
    ReleaseLspMap(map.records, map.length);
}

// The members are freed in the reverse order of their declaration.
struct CatalogSnapshot {
    LspArray<DWORD> order; // the catalog ids of the providers, in the order of enumeration
    Owned<LspMap, ReleaseMap> map;
    LspArray<WSAPROTOCOL_INFOW> providers;
    int providerCount = 0;

    std::span<WSAPROTOCOL_INFOW> Providers() const {
        return {providers.Get(), static_cast<size_t>(providerCount)};
    }
    std::span<LspEntry> Records() const { return {map.Get().records, static_cast<size_t>(map.Get().length)}; }
};

// Enumerates the catalog of the selector and maps it.
//   snapshot  empty; receives as much as can be read
// Returns false after a trace line when a step fails.
bool TakeCatalogSnapshot(CatalogSelector catalog, CatalogSnapshot* snapshot);
