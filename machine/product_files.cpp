#include "machine/product_files.h"

#include "lsp/provider_entries.h"

namespace {

void CollectCatalog(const CatalogChange& change, ProductFiles& files) {
    for (size_t i = 0; i < change.entries.size(); ++i) {
        const std::wstring& file = change.files[i];
        if (change.remains[i]) {
            files.named.insert(file);
        } else if (!file.empty()) {
            files.removed.insert(file);
            files.folders.insert(FolderOf(file));
            files.names.insert(PlainName(file));
        }
    }
}

} // namespace

ProductFiles CollectFiles(const Machine& machine, const MachineChange& change) {
    ProductFiles files;
    CollectCatalog(change.catalog64, files);
    CollectCatalog(change.catalog32, files);
    for (const NamespaceProvider& provider : machine.namespaces) {
        files.named.insert(FileOfNamespace(provider, machine.folders));
    }
    return files;
}

bool IsOnly32BitPart(const MachineChange& change, const CatalogChange& catalog, size_t index,
                     const ProductFiles& files, const Folders& folders) {
    const WSAPROTOCOL_INFOW& entry = catalog.entries[index].info;
    if (!catalog.is32 || !IsKind(entry, LAYERED_PROTOCOL)) {
        return false;
    }
    const std::wstring folder = FolderOf(catalog.files[index]);
    const bool looksAlike = files.names.contains(PlainName(catalog.files[index])) ||
                            (files.folders.contains(folder) && !IsSharedFolder(folder, folders));
    return looksAlike && FindProvider(change.catalog64.entries, entry.ProviderId) == nullptr;
}
