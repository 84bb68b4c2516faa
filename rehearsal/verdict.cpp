// BREAKS NETWORKING follows from broken products, INCOMPLETE from remainders: see remainders.cpp.
#include "rehearsal/verdict.h"

#include <algorithm>

#include "lsp/provider_entries.h"
#include "machine/entry_names.h"
#include "machine/utf8_text.h"

namespace {

constexpr char kThrough[] = "connect through it would fail";
constexpr char kUsing[] = "use it would fail";
constexpr char kRemovedBase[] = "use it would fail: this provider of Windows would be removed, too";
constexpr char kRemovedToo[] =
    "use it would fail: it has the provider id of a removed entry, and would be removed, too";
constexpr char kNoLookups[] = "look up names through it would fail: its file would be deleted";

void AddBroken(const std::string& product, const char* notice, bool is32, std::vector<Broken>& broken) {
    auto found = std::find_if(broken.begin(), broken.end(), [&](const Broken& each) {
        return each.product == product && each.notice == notice;
    });
    if (found == broken.end()) {
        found = broken.insert(broken.end(), {product, notice});
    }
    (is32 ? found->in32 : found->in64) = true;
}

// An entry that remains.
void LookAtRemaining(const CatalogChange& change, size_t i, std::vector<Broken>& broken) {
    const SimulatedEntry& entry = change.entries[i];
    if (StopsWorking(change, i) || LosesId(change, i)) {
        AddBroken(ProductOf(change.entries, entry), IsKind(entry.info, BASE_PROTOCOL) ? kUsing : kThrough,
                  change.is32, broken);
    }
}

// Whether an entry belongs to another LSP than the one that is removed.
bool IsOfAnotherLsp(const CatalogChange& change, const SimulatedEntry& entry, const Foreseen& foreseen) {
    const auto isTarget = [&](const WSAPROTOCOL_INFOW& lsp) {
        return foreseen.target && SameGuid(lsp.ProviderId, foreseen.target->ProviderId) &&
               lsp.dwCatalogEntryId == foreseen.target->dwCatalogEntryId;
    };
    if (IsKind(entry.info, LAYERED_PROTOCOL)) {
        return !isTarget(entry.info);
    }
    if (foreseen.target && IsLayerOf(entry.info, foreseen.target->dwCatalogEntryId)) {
        return false;
    }
    return FindOwner(change.entries, entry) != change.entries.size();
}

// An entry that is removed.
void LookAtRemoved(const CatalogChange& change, size_t i, const Foreseen& foreseen,
                   std::vector<Broken>& broken) {
    const SimulatedEntry& entry = change.entries[i];
    if (IsKind(entry.info, BASE_PROTOCOL)) {
        AddBroken(ProductOf(change.entries, entry), kRemovedBase, change.is32, broken);
    } else if (!change.is32 && IsOfAnotherLsp(change, entry, foreseen)) {
        AddBroken(ProductOf(change.entries, entry), kRemovedToo, change.is32, broken);
    }
}

void LookAtCatalog(const CatalogChange& change, const Foreseen& foreseen, std::vector<Broken>& broken) {
    for (size_t i = 0; i < change.entries.size(); ++i) {
        if (!change.remains[i]) {
            LookAtRemoved(change, i, foreseen, broken);
            continue;
        }
        LookAtRemaining(change, i, broken);
    }
}

void LookAtNamespaces(const Machine& machine, const MachineChange& change, std::vector<Broken>& broken) {
    for (const NamespaceProvider& provider : machine.namespaces) {
        if (change.deletedFiles.contains(FileOfNamespace(provider, machine.folders))) {
            AddBroken(NameOfNamespace(provider.name, provider.path), kNoLookups, provider.is32, broken);
        }
    }
}

} // namespace

const char* VerdictText(Verdict verdict) {
    const char* const texts[] = {"CLEAN", "", "NOTHING TO DO", "INCOMPLETE", "BREAKS NETWORKING"};
    return texts[static_cast<size_t>(verdict)];
}

Rehearsal Rehearse(const Machine& machine, const std::string& dllName) {
    const Foreseen foreseen = Foresee(machine, dllName);
    std::set<std::wstring> deleted;
    if (foreseen.fileDeleted) {
        deleted.insert(FileOf(foreseen.dllPath, machine.folders, false));
    }
    const MachineChange change = FindChange(machine, foreseen.after, deleted);
    Rehearsal rehearsal = {machine, dllName, foreseen, change, {}, {}, Verdict::kClean};
    LookAtCatalog(change.catalog64, foreseen, rehearsal.broken);
    LookAtCatalog(change.catalog32, foreseen, rehearsal.broken);
    LookAtNamespaces(machine, change, rehearsal.broken);
    rehearsal.remainders = FindRemainders(machine, foreseen, change, FromAnsi(dllName));
    rehearsal.verdict = std::max({foreseen.found ? Verdict::kClean : Verdict::kNothingToDo,
                                  rehearsal.remainders.empty() ? Verdict::kClean : Verdict::kIncomplete,
                                  rehearsal.broken.empty() ? Verdict::kClean : Verdict::kBreaksNetworking});
    return rehearsal;
}
