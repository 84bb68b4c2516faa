// LEAVES PARTS follows from remainders: see remainders.cpp.
#include "rehearsal/verdict.h"

#include <algorithm>

#include "lsp/provider_entries.h"

namespace {

// Whether an entry belongs to an LSP that is not to be removed. The id of an entry's LSP can be that of more
// than one.
bool IsOfAnotherLsp(const CatalogFacts& facts, size_t index, const IsTarget& isTarget) {
    const CatalogEntry& entry = facts.entries[index];
    if (IsLsp(entry)) {
        return !isTarget(entry, facts.is32);
    }
    if (facts.owners[index] == kNoOwner) {
        return false;
    }
    return std::ranges::none_of(facts.entries, [&](const CatalogEntry& lsp) {
        return IsLsp(lsp) && IsLayerOf(entry.info, lsp.info.dwCatalogEntryId) && isTarget(lsp, facts.is32);
    });
}

void AddBroken(const Product& product, Harm harm, bool is32, std::vector<Broken>& broken) {
    auto found = std::ranges::find_if(
        broken, [&](const Broken& each) { return each.product == product && each.harm == harm; });
    if (found == broken.end()) {
        found = broken.insert(broken.end(), {product, harm});
    }
    (is32 ? found->in32 : found->in64) = true;
}

std::vector<Broken> FindBroken(const Machine& machine, const MachineChange& change,
                               const IsTarget& isTarget) {
    std::vector<Broken> broken;
    for (const CatalogChange* catalog : {&change.catalog64, &change.catalog32}) {
        for (size_t i = 0; i < catalog->before.present.size(); ++i) {
            if (const std::optional<Harm> harm = FindHarm(*catalog, i, isTarget)) {
                AddBroken(ProductOf(catalog->before, i), *harm, catalog->before.facts->is32, broken);
            }
        }
    }
    for (const NamespaceProvider& provider : machine.namespaces) {
        if (HarmsLookups(machine, change, provider)) {
            AddBroken(ProductOfNamespace(provider), Harm::kLookups, provider.is32, broken);
        }
    }
    return broken;
}

// Whether an LSP of the 32-bit catalog with the provider id of the target is the same product.
bool IsSameProduct(const CatalogEntry& lsp, const CatalogEntry& target) {
    const std::wstring name = RawNameOf(lsp.info);
    return lsp.info.dwCatalogEntryId == target.info.dwCatalogEntryId ||
           (!name.empty() && name == RawNameOf(target.info)) ||
           PlainName(FileNameForWindows(lsp.path)) == PlainName(FileNameForWindows(target.path));
}

// Whether any entry of a machine has the name, or is one of those that the empty name stands for.
bool IsNamed(const MachineHealth& health, const std::wstring& dllName) {
    for (const CatalogHealth* catalog : {&health.catalog64, &health.catalog32}) {
        const CatalogFacts& facts = *catalog->facts;
        for (size_t i = 0; i < facts.entries.size(); ++i) {
            const CatalogEntry& entry = facts.entries[i];
            const bool orphan = IsLayered(entry) && facts.owners[i] == kNoOwner;
            if (dllName.empty() ? orphan || (IsLsp(entry) && FileNameForCommand(entry.path).empty())
                                : FileNameForWindows(entry.path) == dllName) {
                return true;
            }
        }
    }
    return false;
}

Verdict Judge(const Rehearsal& rehearsal) {
    const MachineChange& change = rehearsal.change;
    if (!rehearsal.broken.empty()) {
        return Verdict::kBreaksNetworking;
    }
    if (CountRemoved(change.catalog64) + CountRemoved(change.catalog32) > 0) {
        return rehearsal.remainders.empty() ? Verdict::kClean : Verdict::kLeavesParts;
    }
    return rehearsal.run.found ||
                   IsNamed({change.catalog64.before, change.catalog32.before}, rehearsal.dllName)
               ? Verdict::kCannotRemove
               : Verdict::kNotFound;
}

} // namespace

std::optional<Harm> FindHarm(const CatalogChange& change, size_t index, const IsTarget& isTarget) {
    const CatalogFacts& facts = *change.before.facts;
    const bool isBase = IsBase(facts.entries[index]);
    if (!change.before.works[index]) {
        return std::nullopt;
    }
    if (StopsWorking(change, index)) {
        return isBase ? Harm::kUse : Harm::kConnections;
    }
    if (change.after.present[index]) {
        return std::nullopt;
    }
    if (isBase) {
        return Harm::kBaseRemoved;
    }
    return IsOfAnotherLsp(facts, index, isTarget) ? std::optional(Harm::kLspRemoved) : std::nullopt;
}

bool HarmsLookups(const Machine& machine, const MachineChange& change, const NamespaceProvider& provider) {
    return provider.enabled && change.deletedFiles.contains(FileOfNamespace(machine, provider));
}

Rehearsal Rehearse(const Machine& machine, const std::wstring& dllName) {
    Rehearsal rehearsal = {machine, dllName, RunDry(machine, dllName), {}, {}, {}, {}, {}, {}};
    const DryRun& run = rehearsal.run;
    std::set<std::wstring> deleted;
    if (run.file.deleted) {
        deleted.insert(FileOn(machine, run.dllPath, false));
    }
    const auto isTarget = [&](const CatalogEntry& lsp, bool is32) {
        return run.target && SameGuid(lsp.info.ProviderId, run.target->info.ProviderId) &&
               (is32 ? IsSameProduct(lsp, *run.target)
                     : lsp.info.dwCatalogEntryId == run.target->info.dwCatalogEntryId);
    };
    rehearsal.change = FindChange(Examine(machine), run.after, deleted);
    rehearsal.broken = FindBroken(machine, rehearsal.change, isTarget);
    rehearsal.remainders = FindRemainders(machine, run, rehearsal.change, dllName);
    rehearsal.ignoredCounts = FindIgnoredCounts(machine, run);
    rehearsal.finding = Judge(rehearsal);
    rehearsal.verdict = machine.gaps.empty() ? rehearsal.finding : Verdict::kCannotTell;
    return rehearsal;
}
