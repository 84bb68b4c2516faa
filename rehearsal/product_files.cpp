#include "rehearsal/product_files.h"

namespace {

void CollectCatalog(const CatalogChange& change, ProductFiles& files) {
    for (size_t i = 0; i < change.after.entries.size(); ++i) {
        const std::wstring& file = change.after.files[i];
        if (change.after.present[i]) {
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
    const CatalogEntry& entry = catalog.before.entries[index];
    if (!catalog.before.is32 || !IsLsp(entry)) {
        return false;
    }
    const std::wstring folder = FolderOf(catalog.before.files[index]);
    const bool looksAlike = files.names.contains(PlainName(catalog.before.files[index])) ||
                            (files.folders.contains(folder) && !IsSharedFolder(folder, folders));
    return looksAlike && FindProvider(change.catalog64.before.entries, entry.info.ProviderId) == nullptr;
}
