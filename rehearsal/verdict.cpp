// LEAVES PARTS follows from remainders: see remainders.cpp.
#include "rehearsal/verdict.h"

#include <algorithm>

#include "lsp/provider_entries.h"
#include "machine/text.h"

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

// What a removal harms of an entry that worked before; nothing for an entry that keeps working, and for one
// of a target.
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

// Whether a removal deletes the file of a namespace provider that is in use.
bool HarmsLookups(const Machine& machine, const MachineChange& change, const NamespaceProvider& provider) {
    return provider.enabled && change.deletedFiles.contains(FileOfNamespace(machine, provider));
}

std::vector<Broken> FindBroken(const Machine& machine, const MachineChange& change,
                               const IsTarget& isTarget) {
    std::vector<Broken> broken;
    ForEachHarm(machine, change, isTarget, [&](const Product& product, Harm harm, bool is32) {
        auto found = std::ranges::find_if(broken, [&](const Broken& each) {
            const bool otherFile = is32 && each.in64 && IsSameButFile(each.product, product);
            return (each.product == product || otherFile) && each.harm == harm;
        });
        if (found == broken.end()) {
            broken.push_back({product, harm});
            found = broken.end() - 1;
        }
        (is32 ? found->in32 : found->in64) = true;
        return true;
    });
    return broken;
}

// Whether an LSP of the 32-bit catalog with the provider id of the target is the same product.
bool IsSameProduct(const CatalogEntry& lsp, const CatalogEntry& target) {
    const std::wstring name = RawNameOf(lsp.info);
    return lsp.info.dwCatalogEntryId == target.info.dwCatalogEntryId ||
           (!name.empty() && name == RawNameOf(target.info)) ||
           PlainName(LowerCase(FileNameForWindows(lsp.path))) ==
               PlainName(LowerCase(FileNameForWindows(target.path)));
}

// Whether any entry of a machine has the name, or is one of those that the empty name stands for.
bool IsNamed(const MachineHealth& health, const std::wstring& dllName) {
    for (const CatalogHealth* catalog : {&health.catalog64, &health.catalog32}) {
        const CatalogFacts& facts = *catalog->facts;
        for (size_t i = 0; i < facts.entries.size(); ++i) {
            const CatalogEntry& entry = facts.entries[i];
            if (dllName.empty()
                    ? IsOrphan(facts, i) || (IsLsp(entry) && FileNameForCommand(entry.path).empty())
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
    return rehearsal.run.found || IsNamed(HealthBefore(rehearsal), rehearsal.dllName) ? Verdict::kCannotRemove
                                                                                      : Verdict::kNotFound;
}

} // namespace

void ForEachHarm(const Machine& machine, const MachineChange& change, const IsTarget& isTarget,
                 const HarmVisitor& visit) {
    for (const CatalogChange* catalog : {&change.catalog64, &change.catalog32}) {
        for (size_t i = 0; i < catalog->before.present.size(); ++i) {
            const std::optional<Harm> harm = FindHarm(*catalog, i, isTarget);
            if (harm && !visit(ProductOf(catalog->before, i), *harm, catalog->before.facts->is32)) {
                return;
            }
        }
    }
    for (const NamespaceProvider& provider : machine.namespaces) {
        if (HarmsLookups(machine, change, provider) &&
            !visit(ProductOfNamespace(provider), Harm::kLookups, provider.is32)) {
            return;
        }
    }
}

bool IsTargetOf(const DryRun& run, const CatalogEntry& lsp, bool is32) {
    return run.target && SameGuid(lsp.info.ProviderId, run.target->info.ProviderId) &&
           (is32 ? IsSameProduct(lsp, *run.target)
                 : lsp.info.dwCatalogEntryId == run.target->info.dwCatalogEntryId);
}

MachineHealth HealthBefore(const Rehearsal& rehearsal) {
    return {rehearsal.change.catalog64.before, rehearsal.change.catalog32.before};
}

Rehearsal Rehearse(const Machine& machine, const std::wstring& dllName) {
    Rehearsal rehearsal = {machine, dllName, RunDry(machine, dllName), {}, {}, {}, {}, {}, {}};
    const DryRun& run = rehearsal.run;
    std::set<std::wstring> deleted;
    if (run.file.deleted) {
        deleted.insert(FileOn(machine, run.dllPath, false));
    }
    const auto isTarget = [&](const CatalogEntry& lsp, bool is32) { return IsTargetOf(run, lsp, is32); };
    rehearsal.change = FindChange(Examine(machine), run.after, deleted);
    rehearsal.broken = FindBroken(machine, rehearsal.change, isTarget);
    rehearsal.remainders = FindRemainders(machine, run, rehearsal.change, dllName);
    rehearsal.ignoredCounts = FindIgnoredCounts(machine, run);
    rehearsal.finding = Judge(rehearsal);
    rehearsal.verdict = machine.gaps.empty() ? rehearsal.finding : Verdict::kCannotTell;
    return rehearsal;
}
