// Finds the LSP to remove, reports its entries, and deinstalls it.
#include "lsp/lsp_removal.h"

#include <algorithm>
#include <string_view>

#include "common/file_name.h"
#include "lsp/catalog_snapshot.h"
#include "lsp/dependent_repair.h"
#include "lsp/update_functions.h"
#include "trace/trace_log.h"

namespace {

bool HasLayer(const LspEntry& record, DWORD catalogId) {
    return std::ranges::any_of(record.Layers(), [catalogId](const WSAPROTOCOL_INFOW& layer) {
        return layer.dwCatalogEntryId == catalogId;
    });
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
    for (const WSAPROTOCOL_INFOW& layer : record.Layers()) {
        Trace("   %d: %ws\n", layer.dwCatalogEntryId, layer.szProtocol);
    }
}

// Returns the record with the id, as that of its hidden entry or of a layered entry; null after a trace line.
const LspEntry* FindTarget(const CatalogSnapshot& snapshot, DWORD catalogId) {
    for (const LspEntry& record : snapshot.Records()) {
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
    for (const WSAPROTOCOL_INFOW& layer : target.Layers()) {
        Trace("LSP Layer  ID: %6d Name %ws\n", layer.dwCatalogEntryId, layer.szProtocol);
    }
}

// The orphans have no hidden entry, so the call for their zero GUID fails. The failure in the trace
// distinguishes the removal of orphans from that of an LSP. Kept, see docs/kept-behaviour.md.
void DeinstallTarget(CatalogSelector catalog, const LspEntry& target) {
    for (GUID& guid : target.LayerGuids()) {
        DeinstallProvider(catalog, &guid);
    }
    GUID hiddenGuid = target.hiddenEntry.ProviderId;
    DeinstallProvider(catalog, &hiddenGuid);
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
    FixDependentChains(snapshot.Records(), *target);

    // The 64-bit update function decides for both catalogs. With CatalogBoth no update function is called,
    // and each update is a failure. ReinstallDependents also writes the provider order, so it is called even
    // if there are no dependents.
    if (UpdateFunctions().update64 != nullptr) {
        UpdateDependents(catalog, snapshot.Records(), *target);
    } else if (!ReinstallDependents(catalog, snapshot, *target)) {
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
    for (const LspEntry& record : snapshot.Records()) {
        if (FileNameOf(std::wstring_view(record.dllPath)) == dllName) {
            // The form by id enumerates the catalog again.
            const int result = RemoveProvider(catalog, record.hiddenEntry.dwCatalogEntryId);
            wcscpy_s(removedPath, kDllPathSize, record.dllPath);
            return result;
        }
    }
    Trace("\n\nError! Invalid Winsock LSP dll name supplied: %ws\n", dllName);
    return SOCKET_ERROR;
}
