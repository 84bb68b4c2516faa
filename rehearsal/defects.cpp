#include "rehearsal/defects.h"

#include <algorithm>
#include <map>

#include "lsp/provider_entries.h"

namespace {

// The DLL name by which the command finds the LSP of an entry.
std::wstring RemovableBy(const MachineHealth& health, const CatalogFacts& facts, size_t i) {
    const size_t owner = facts.owners[i] == kNoOwner ? i : facts.owners[i];
    const CatalogEntry* in64 =
        FindProvider(health.catalog64.facts->entries, facts.entries[owner].info.ProviderId);
    return in64 != nullptr && IsLsp(*in64) ? FileNameForCommand(in64->path) : L"";
}

// The provider ids of the layered entries that the command finds without an LSP. It looks in the 64-bit
// catalog, for those whose first id no other entry has.
GuidSet FindOrphanIds(const CatalogFacts& in64) {
    GuidSet ids;
    for (const CatalogEntry& entry : in64.entries) {
        const DWORD first = entry.info.ProtocolChain.ChainEntries[0];
        const auto found = in64.ids.find(first);
        if (IsLayered(entry) &&
            (found == in64.ids.end() || found->second == (first == entry.info.dwCatalogEntryId ? 1 : 0))) {
            ids.insert(entry.info.ProviderId);
        }
    }
    return ids;
}

void AddDefect(const MachineHealth& health, const CatalogHealth& catalog, size_t i, const GuidSet& orphans,
               Defect& defect) {
    const CatalogFacts& facts = *catalog.facts;
    const FaultReason reason = FindFaultKind(catalog, i);
    if (defect.entries == 0 || reason.fault < defect.reason.fault) {
        defect.reason = reason;
    }
    ++defect.entries;
    (facts.is32 ? defect.in32 : defect.in64) = true;
    defect.isOrphan = defect.isOrphan || (IsLayered(facts.entries[i]) && facts.owners[i] == kNoOwner &&
                                          orphans.contains(facts.entries[i].info.ProviderId));
    defect.dllName = defect.dllName.empty() ? RemovableBy(health, facts, i) : defect.dllName;
}

} // namespace

std::vector<Defect> FindDefects(const MachineHealth& health) {
    std::vector<Defect> defects;
    std::map<Product, size_t> known;
    const GuidSet orphans = FindOrphanIds(*health.catalog64.facts);
    for (const CatalogHealth* catalog : {&health.catalog64, &health.catalog32}) {
        for (size_t i = 0; i < catalog->works.size(); ++i) {
            if (catalog->works[i]) {
                continue;
            }
            const auto [place, isNew] = known.emplace(ProductOf(*catalog, i), defects.size());
            if (isNew) {
                defects.push_back({place->first, {}, 0, false, false, false, L""});
            }
            AddDefect(health, *catalog, i, orphans, defects[place->second]);
        }
    }
    return defects;
}

bool HasDefects(const MachineHealth& health) {
    return CountFaults(health.catalog64) + CountFaults(health.catalog32) > 0 || !HasBase(health.catalog64) ||
           !HasBase(health.catalog32);
}
