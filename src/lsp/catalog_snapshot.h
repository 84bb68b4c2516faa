// One reading of a catalog together with the map of its LSPs.
#pragma once

#include "lsp/lsp_map.h"
#include "lsp/provider_catalog.h"

struct CatalogSnapshot {
    WSAPROTOCOL_INFOW* providers = nullptr;
    int providerCount = 0;
    DWORD* order = nullptr; // the providers' catalog ids, in the order of enumeration
    LspEntry* map = nullptr;
    int lspCount = 0; // the length of the map, its orphan record included

    CatalogSnapshot() = default;
    CatalogSnapshot(const CatalogSnapshot&) = delete;
    CatalogSnapshot& operator=(const CatalogSnapshot&) = delete;
    ~CatalogSnapshot(); // frees what was read
};

// Enumerates the catalog that the selector stands for and maps it.
//   snapshot  empty; receives as much as could be read
// Returns false after a trace line when any part of it could not be made.
bool TakeCatalogSnapshot(CatalogSelector catalog, CatalogSnapshot* snapshot);
