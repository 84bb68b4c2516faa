#include "rehearsal/defects.h"

#include <algorithm>

#include "lsp/provider_entries.h"

namespace {

// The DLL name by which the command finds the LSP of an entry; nothing if it does not find it.
std::optional<std::wstring> RemovableBy(const MachineHealth& health, const CatalogFacts& facts, size_t i) {
    const GUID& lsp = facts.entries[OwnerOrSelf(facts, i)].info.ProviderId;
    const CatalogEntry* in64 = FindProvider(health.catalog64.facts->entries, lsp);
    return in64 != nullptr && IsLsp(*in64) ? std::optional(FileNameForCommand(in64->path)) : std::nullopt;
}

// The provider ids of the layered entries that the command finds without an LSP. It looks in the 64-bit
// catalog.
GuidSet FindOrphanIds(const CatalogFacts& in64) {
    GuidSet ids;
    for (size_t i = 0; i < in64.entries.size(); ++i) {
        if (IsOrphan(in64, i)) {
            ids.insert(in64.entries[i].info.ProviderId);
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
    defect.dllName = defect.dllName ? defect.dllName : RemovableBy(health, facts, i);
}

} // namespace

std::vector<Defect> FindDefects(const MachineHealth& health) {
    std::vector<Defect> defects;
    const GuidSet orphans = FindOrphanIds(*health.catalog64.facts);
    for (const CatalogHealth* catalog : {&health.catalog64, &health.catalog32}) {
        for (size_t i = 0; i < catalog->works.size(); ++i) {
            if (catalog->works[i]) {
                continue;
            }
            const Product product = ProductOf(*catalog, i);
            auto known = std::ranges::find(defects, product, &Defect::product);
            if (known == defects.end()) {
                defects.emplace_back().product = product;
                known = defects.end() - 1;
            }
            AddDefect(health, *catalog, i, orphans, *known);
        }
    }
    return defects;
}

bool HasDefects(const MachineHealth& health) {
    return CountFaults(health.catalog64) + CountFaults(health.catalog32) > 0 || !HasBase(health.catalog64) ||
           !HasBase(health.catalog32);
}
