// BREAKS NETWORKING follows from broken products, INCOMPLETE from remainders: see remainders.cpp.
#include "rehearsal/verdict.h"

#include <algorithm>

#include "common/text_conversion.h"
#include "lsp/provider_entries.h"

namespace {

using IsTarget = std::function<bool(const CatalogEntry& lsp)>;

void AddBroken(const Product& product, Harm harm, bool is32, std::vector<Broken>& broken) {
    auto found = std::ranges::find_if(
        broken, [&](const Broken& each) { return each.product == product && each.harm == harm; });
    if (found == broken.end()) {
        found = broken.insert(broken.end(), {product, harm});
    }
    (is32 ? found->in32 : found->in64) = true;
}

// Whether an entry belongs to an LSP that is not to be removed.
bool IsOfAnotherLsp(const CatalogHealth& catalog, size_t i, const IsTarget& isTarget) {
    const CatalogEntry& entry = catalog.entries[i];
    if (IsLsp(entry)) {
        return !isTarget(entry);
    }
    // The id of an entry's LSP can be that of more than one.
    bool hasLsp = false;
    for (const CatalogEntry& lsp : catalog.entries) {
        if (IsLsp(lsp) && IsLayerOf(entry.info, lsp.info.dwCatalogEntryId)) {
            if (isTarget(lsp)) {
                return false;
            }
            hasLsp = true;
        }
    }
    return hasLsp;
}

void LookAtCatalog(const CatalogChange& change, const IsTarget& isTarget, std::vector<Broken>& broken) {
    const CatalogHealth& before = change.before;
    for (size_t i = 0; i < before.entries.size(); ++i) {
        const CatalogEntry& entry = before.entries[i];
        if (change.after.present[i]) {
            if (StopsWorking(change, i) || LosesId(change, i)) {
                AddBroken(ProductOf(before, i), IsBase(entry) ? Harm::kUse : Harm::kConnections, before.is32,
                          broken);
            }
        } else if (IsBase(entry)) {
            AddBroken(ProductOf(before, i), Harm::kBaseRemoved, before.is32, broken);
        } else if (!before.is32 && IsOfAnotherLsp(before, i, isTarget)) {
            AddBroken(ProductOf(before, i), Harm::kLspRemoved, before.is32, broken);
        }
    }
}

} // namespace

std::vector<Broken> FindBroken(const Machine& machine, const MachineChange& change,
                               const IsTarget& isTarget) {
    std::vector<Broken> broken;
    LookAtCatalog(change.catalog64, isTarget, broken);
    LookAtCatalog(change.catalog32, isTarget, broken);
    for (const NamespaceProvider& provider : machine.namespaces) {
        if (change.deletedFiles.contains(FileOfNamespace(provider, machine.folders))) {
            AddBroken(ProductOfNamespace(provider), Harm::kLookups, provider.is32, broken);
        }
    }
    return broken;
}

Rehearsal Rehearse(const Machine& machine, const std::string& dllName) {
    DryRun run = RunDry(machine, dllName);
    std::set<std::wstring> deleted;
    if (run.fileDeleted) {
        deleted.insert(FileOf(run.dllPath, machine.folders, false));
    }
    const auto isTarget = [&](const CatalogEntry& lsp) {
        return run.target && SameGuid(lsp.info.ProviderId, run.target->info.ProviderId) &&
               lsp.info.dwCatalogEntryId == run.target->info.dwCatalogEntryId;
    };
    MachineChange change = FindChange(Examine(machine), run.after, deleted);
    std::vector<Broken> broken = FindBroken(machine, change, isTarget);
    std::vector<Remainder> remainders = FindRemainders(machine, run, change, conv_to_wchar(dllName.c_str()));
    const Verdict verdict = std::max({run.found ? Verdict::kClean : Verdict::kNothingToDo,
                                      remainders.empty() ? Verdict::kClean : Verdict::kIncomplete,
                                      broken.empty() ? Verdict::kClean : Verdict::kBreaksNetworking});
    return {machine, dllName, run, change, broken, remainders, verdict};
}
