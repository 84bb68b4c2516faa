#include "rehearsal/defects.h"

#include <algorithm>
#include <map>
#include <tuple>

#include "lsp/provider_entries.h"

namespace {

// The DLL name by which the command finds the LSP of an entry.
std::wstring RemovableBy(const MachineHealth& health, const CatalogHealth& catalog, size_t i) {
    const size_t owner = catalog.owners[i] == kNoOwner ? i : catalog.owners[i];
    const CatalogEntry* in64 = FindProvider(health.catalog64.entries, catalog.entries[owner].info.ProviderId);
    return in64 != nullptr && IsLsp(*in64) ? FileNameForCommand(in64->path) : L"";
}

// Whether the command finds a layered entry without an LSP. It looks in the 64-bit catalog, for those whose
// first id no other entry has.
bool IsFoundAsOrphan(const CatalogHealth& in64, const GUID& id) {
    return std::ranges::any_of(in64.entries, [&](const CatalogEntry& entry) {
        const DWORD first = entry.info.ProtocolChain.ChainEntries[0];
        const auto found = in64.ids.find(first);
        return SameGuid(entry.info.ProviderId, id) && IsLayered(entry) &&
               (found == in64.ids.end() || found->second == (first == entry.info.dwCatalogEntryId ? 1 : 0));
    });
}

Defect DefectOf(const MachineHealth& health, const CatalogHealth& catalog, size_t i) {
    const CatalogEntry& entry = catalog.entries[i];
    const bool hasOwner = catalog.owners[i] != kNoOwner;
    Product itself = ProductOfEntry(entry);
    itself.fileName.clear(); // which can differ from that of its LSP
    return {itself,
            ProductOf(catalog, i),
            entry.info.dwCatalogEntryId,
            FindFault(catalog, i),
            hasOwner,
            IsLayered(entry) && !hasOwner && IsFoundAsOrphan(health.catalog64, entry.info.ProviderId),
            RemovableBy(health, catalog, i)};
}

using DefectKey = std::tuple<DWORD, Product, Product, bool, FaultReason>;

// What makes defects of the two catalogs one.
DefectKey KeyOf(const Defect& defect) {
    return {defect.id, defect.entry, defect.product, defect.hasOwner, defect.reason};
}

} // namespace

std::vector<Defect> FindDefects(const MachineHealth& health) {
    std::vector<Defect> defects;
    std::map<DefectKey, size_t> of64;
    for (const CatalogHealth* catalog : {&health.catalog64, &health.catalog32}) {
        for (size_t i = 0; i < catalog->entries.size(); ++i) {
            if (catalog->works[i]) {
                continue;
            }
            Defect defect = DefectOf(health, *catalog, i);
            const auto known = of64.find(KeyOf(defect));
            if (catalog->is32 && known != of64.end()) {
                defects[known->second].in32 = true;
                continue;
            }
            (catalog->is32 ? defect.in32 : defect.in64) = true;
            if (!catalog->is32) {
                of64.emplace(KeyOf(defect), defects.size());
            }
            defects.push_back(defect);
        }
    }
    return defects;
}
