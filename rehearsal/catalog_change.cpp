#include "rehearsal/catalog_change.h"

#include <algorithm>

#include "lsp/provider_entries.h"

Flags FindRemaining(const CatalogHealth& before, const Catalog& after) {
    GuidSet left;
    for (const CatalogEntry& entry : after) {
        left.insert(entry.info.ProviderId);
    }
    Flags remains;
    for (const CatalogEntry& entry : before.facts->entries) {
        remains.push_back(left.contains(entry.info.ProviderId));
    }
    return remains;
}

MachineChange FindChange(const MachineHealth& before, const Catalogs& after,
                         const std::set<std::wstring>& deletedFiles) {
    const auto changeOf = [&](const CatalogHealth& health, const Catalog& catalog) {
        return CatalogChange{health, Without(health, FindRemaining(health, catalog), deletedFiles)};
    };
    return {changeOf(before.catalog64, after.catalog64), changeOf(before.catalog32, after.catalog32),
            deletedFiles};
}

bool StopsWorking(const CatalogChange& change, size_t index) {
    return change.after.present[index] && !IsLsp(change.after.facts->entries[index]) &&
           change.before.works[index] && !change.after.works[index];
}

bool BecomesOrphan(const CatalogChange& change, size_t index) {
    const Catalog& entries = change.after.facts->entries;
    for (size_t i = 0; i < entries.size(); ++i) {
        if (change.after.present[i] && IsLsp(entries[i]) &&
            IsLayerOf(entries[index].info, entries[i].info.dwCatalogEntryId)) {
            return false;
        }
    }
    return IsLayered(entries[index]);
}

size_t CountRemoved(const CatalogChange& change) {
    return static_cast<size_t>(std::ranges::count(change.after.present, false));
}

bool HadFile(const CatalogChange& change, const std::wstring& file) {
    const std::vector<std::wstring>& files = change.before.facts->files;
    const auto found = std::ranges::find(files, file);
    return found == files.end() || change.before.hasFile[static_cast<size_t>(found - files.begin())];
}
