#include "rehearsal/catalog_change.h"

#include <algorithm>

#include "lsp/provider_entries.h"

namespace {

// The removal takes entries by their provider ids: an id has all of its entries afterwards, or none.
CatalogChange ChangeOf(const CatalogHealth& before, const Catalog& after,
                       const std::set<std::wstring>& deletedFiles) {
    GuidSet left;
    for (const CatalogEntry& entry : after) {
        left.insert(entry.info.ProviderId);
    }
    Flags remains;
    for (const CatalogEntry& entry : before.entries) {
        remains.push_back(left.contains(entry.info.ProviderId));
    }
    return {before, Without(before, remains, deletedFiles)};
}

} // namespace

MachineChange FindChange(const MachineHealth& before, const Catalogs& after,
                         const std::set<std::wstring>& deletedFiles) {
    return {ChangeOf(before.catalog64, after.catalog64, deletedFiles),
            ChangeOf(before.catalog32, after.catalog32, deletedFiles), deletedFiles};
}

bool StopsWorking(const CatalogChange& change, size_t index) {
    return change.after.present[index] && !IsLsp(change.after.entries[index]) && change.before.works[index] &&
           !change.after.works[index];
}

bool LosesId(const CatalogChange& change, size_t index) {
    return change.after.present[index] &&
           FindMissingIds(change.before, index) != FindMissingIds(change.after, index);
}

bool BecomesOrphan(const CatalogChange& change, size_t index) {
    const CatalogHealth& after = change.after;
    const DWORD first = after.entries[index].info.ProtocolChain.ChainEntries[0];
    for (size_t i = 0; i < after.entries.size(); ++i) {
        if (after.present[i] && IsLsp(after.entries[i]) && after.entries[i].info.dwCatalogEntryId == first) {
            return false;
        }
    }
    return IsLayered(after.entries[index]);
}

size_t CountRemoved(const CatalogChange& change) {
    return static_cast<size_t>(std::ranges::count(change.after.present, false));
}

bool HadFile(const CatalogChange& change, const std::wstring& file) {
    const CatalogHealth& before = change.before;
    const auto found = std::ranges::find(before.files, file);
    return found == before.files.end() || before.hasFile[static_cast<size_t>(found - before.files.begin())];
}
