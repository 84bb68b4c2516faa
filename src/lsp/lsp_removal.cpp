// Finding the LSP to remove, telling what goes, and deinstalling it.
#include "lsp/lsp_removal.h"

#include <cwchar>

#include "lsp/catalog_snapshot.h"
#include "lsp/dependent_repair.h"
#include "lsp/update_functions.h"
#include "trace/trace_log.h"

namespace {

bool HasLayer(const LspEntry& record, DWORD catalogId) {
    for (int k = 0; k < record.layerCount; ++k) {
        if (record.layers[k].dwCatalogEntryId == catalogId) {
            return true;
        }
    }
    return false;
}

void ReportOwnerOfLayer(const LspEntry& record, DWORD catalogId) {
    if (record.isOrphanSet == 0) {
        Trace("Catalog ID %d is a layered protocol entry and not the hidden\n"
              "provider representing the entire LSP. The LSP which owns this\n"
              "provider is ID %d (%ws). This entire LSP will be removed!\n",
              catalogId, record.hiddenEntry.dwCatalogEntryId, record.hiddenEntry.szProtocol);
        return;
    }
    Trace("Catalog ID %d is one of %d orphaned protocol entries.\n"
          "These entries could be causing serious problems and\n"
          "will be removed. The following providers are to be\n"
          "deleted:\n",
          catalogId, record.layerCount);
    for (int k = 0; k < record.layerCount; ++k) {
        Trace("   %d: %ws\n", record.layers[k].dwCatalogEntryId, record.layers[k].szProtocol);
    }
}

// The record that owns the id, as its hidden entry or as one of its layered entries; null after a trace line.
const LspEntry* FindTarget(const CatalogSnapshot& snapshot, DWORD catalogId) {
    for (int i = 0; i < snapshot.lspCount; ++i) {
        const LspEntry& record = snapshot.map[i];
        if (record.hiddenEntry.dwCatalogEntryId == catalogId) {
            return &record;
        }
        if (HasLayer(record, catalogId)) {
            ReportOwnerOfLayer(record, catalogId);
            return &record;
        }
    }
    Trace("\n\nError! Invalid Winsock catalog ID supplied: %d\n", catalogId);
    return nullptr;
}

void ReportTarget(const LspEntry& target) {
    Trace("\nThe following LSP entries will be removed:\n");
    if (target.isOrphanSet == 0) {
        Trace("LSP Hidden ID: %6d Name %ws\n", target.hiddenEntry.dwCatalogEntryId,
              target.hiddenEntry.szProtocol);
    } else {
        Trace("Orphaned LSP protocol chain entries:\n");
    }
    for (int k = 0; k < target.layerCount; ++k) {
        Trace("LSP Layer  ID: %6d Name %ws\n", target.layers[k].dwCatalogEntryId,
              target.layers[k].szProtocol);
    }
}

// The orphans have no hidden entry, and deinstalling their zero GUID fails. The failure is wanted in the
// trace: it tells a removal of orphans from that of an LSP. Kept, see docs/kept-behaviour.md.
void DeinstallTarget(CatalogSelector catalog, const LspEntry& target) {
    for (int g = 0; g < target.layerGuidCount; ++g) {
        DeinstallProvider(catalog, &target.layerGuids[g]);
    }
    GUID hiddenGuid = target.hiddenEntry.ProviderId;
    DeinstallProvider(catalog, &hiddenGuid);
}

const wchar_t* FileNameOf(const wchar_t* path) {
    const wchar_t* backslash = std::wcsrchr(path, L'\\');
    return backslash == nullptr ? path : backslash + 1;
}

} // namespace

int RemoveProvider(CatalogSelector catalog, DWORD catalogId) {
    CatalogSnapshot snapshot;
    if (!TakeCatalogSnapshot(catalog, &snapshot)) {
        return SOCKET_ERROR;
    }
    const LspEntry* target = FindTarget(snapshot, catalogId);
    if (target == nullptr) {
        return SOCKET_ERROR;
    }
    ReportTarget(*target);
    FixDependentChains(snapshot.map, *target);

    // Whether Windows has the 64-bit update function decides for both catalogs. With CatalogBoth no update
    // function is called, and each update counts as failed. ReinstallDependents also writes the provider
    // order, so it is called without dependents, too.
    if (UpdateFunctions().update64 != nullptr) {
        UpdateDependents(catalog, snapshot.map, *target);
    } else if (!ReinstallDependents(catalog, &snapshot, *target)) {
        return SOCKET_ERROR;
    }
    DeinstallTarget(catalog, *target);
    return 0;
}

int RemoveProvider(CatalogSelector catalog, const wchar_t* dllName, wchar_t* removedPath) {
    CatalogSnapshot snapshot;
    if (!TakeCatalogSnapshot(catalog, &snapshot)) {
        return SOCKET_ERROR;
    }
    for (int i = 0; i < snapshot.lspCount; ++i) {
        const LspEntry& record = snapshot.map[i];
        if (std::wcscmp(FileNameOf(record.dllPath), dllName) == 0) {
            // The form by id reads the catalog again.
            const int result = RemoveProvider(catalog, record.hiddenEntry.dwCatalogEntryId);
            wcscpy_s(removedPath, kDllPathSize, record.dllPath);
            return result;
        }
    }
    Trace("\n\nError! Invalid Winsock LSP dll name supplied: %ws\n", dllName);
    return SOCKET_ERROR;
}
