#include "rehearsal/removal_node.h"

#include <algorithm>

#include "lsp/lsp_map.h"
#include "lsp/provider_entries.h"
#include "machine/text.h"

namespace {

Catalog Filtered(const Catalog& entries, const Flags& present) {
    Catalog left;
    for (size_t i = 0; i < entries.size(); ++i) {
        if (present[i]) {
            left.push_back(entries[i]);
        }
    }
    return left;
}

// The machine of a node, without catalogs.
Machine BareMachineAt(const RemovalSearch& search, const RemovalNode& node) {
    Machine machine;
    machine.live = search.rehearsal.machine.live;
    machine.folders = search.rehearsal.machine.folders;
    machine.hasCounts = search.rehearsal.machine.hasCounts;
    machine.sharedCounts = node.counts;
    machine.deletedFiles = node.deleted;
    return machine;
}

MachineChange ChangeTo(const RemovalSearch& search, const RemovalNode& node) {
    return {{search.start.catalog64, Without(search.start.catalog64, node.present64, node.deleted)},
            {search.start.catalog32, Without(search.start.catalog32, node.present32, node.deleted)},
            node.deleted};
}

// Whether everything works that remains and worked at the start.
bool IsSafe(const RemovalSearch& search, const RemovalNode& node) {
    bool safe = true;
    const auto any = [](const CatalogEntry&, bool) { return true; };
    ForEachHarm(search.rehearsal.machine, ChangeTo(search, node), any, [&](const Product&, Harm, bool) {
        safe = false;
        return false;
    });
    return safe;
}

// What a run takes out of the catalogs.
struct Removal {
    GuidSet ids; // the provider ids whose entries are removed
    std::wstring dllPath;
};

// The provider ids of an LSP of the 64-bit catalog: that of its hidden entry and those of its layered
// entries.
Removal RemovalOf(const CatalogFacts& facts, size_t lsp) {
    Removal removal = {{facts.entries[lsp].info.ProviderId}, PathOf(facts.entries, facts.entries[lsp])};
    for (size_t i = 0; i < facts.entries.size(); ++i) {
        if (facts.owners[i] == lsp) {
            removal.ids.insert(facts.entries[i].info.ProviderId);
        }
    }
    return removal;
}

// Foresees a run without the removal code, which takes long in a large catalog: in a regular catalog the one
// LSP that has the name is removed.
Removal PredictRun(const RemovalSearch& search, const RemovalNode& node, const std::wstring& dllName) {
    const CatalogFacts& facts = Facts64(search);
    for (size_t i = 0; i < facts.entries.size(); ++i) {
        if (node.present64[i] && IsLsp(facts.entries[i]) &&
            FileNameForCommand(facts.entries[i].path) == dllName) {
            return RemovalOf(facts, i);
        }
    }
    return {};
}

Removal ForeseeRun(const RemovalSearch& search, const RemovalNode& node, const std::wstring& dllName) {
    if (search.regular && !dllName.empty()) {
        return PredictRun(search, node, dllName);
    }
    Machine machine = BareMachineAt(search, node);
    machine.catalogs.catalog64 = Filtered(Facts64(search).entries, node.present64);
    machine.catalogs.catalog32 = Filtered(search.start.catalog32.facts->entries, node.present32);
    const DryRun run = RunDry(machine, dllName);
    Removal removal = {{}, run.dllPath};
    for (const auto& [before, after] : {std::pair(&machine.catalogs.catalog64, &run.after.catalog64),
                                        std::pair(&machine.catalogs.catalog32, &run.after.catalog32)}) {
        for (const CatalogEntry& entry : *before) {
            if (FindProvider(*after, entry.info.ProviderId) == nullptr) {
                removal.ids.insert(entry.info.ProviderId);
            }
        }
    }
    return removal;
}

// Deletes the DLL of a run, and lowers its shared count, as the command does.
void TakeFile(const RemovalSearch& search, const std::wstring& path, RemovalNode& node) {
    const Machine machine = BareMachineAt(search, node);
    const DllFate file = FindDllFate(machine, path);
    const auto count = node.counts.find(CountKey(path));
    if (count != node.counts.end() && file.exists && --count->second == 0) {
        node.counts.erase(count);
    }
    if (file.deleted) {
        node.deleted.insert(FileOn(machine, path, false));
        node.runs.back().deletedFile = OpenedPath(path, machine.folders, false);
    }
}

// Takes the entries with some provider ids out of a catalog. Returns whether there were any.
bool TakeEntries(const CatalogHealth& health, const GuidSet& ids, Flags& present, GuidSet& products) {
    bool taken = false;
    for (size_t i = 0; i < present.size(); ++i) {
        if (present[i] && ids.contains(health.facts->entries[i].info.ProviderId)) {
            present[i] = false;
            taken = true;
            products.insert(health.facts->entries[OwnerOrSelf(*health.facts, i)].info.ProviderId);
        }
    }
    return taken;
}

} // namespace

const CatalogFacts& Facts64(const RemovalSearch& search) {
    return *search.start.catalog64.facts;
}

const std::wstring& PathOf(const Catalog& catalog, const CatalogEntry& lsp) {
    return FindProvider(catalog, lsp.info.ProviderId)->path;
}

RemovalNode StartOf(const RemovalSearch& search) {
    const Machine& machine = search.rehearsal.machine;
    return {search.start.catalog64.present, search.start.catalog32.present, machine.deletedFiles,
            machine.sharedCounts};
}

std::optional<RemovalNode> NodeAfter(const RemovalSearch& search, const RemovalNode& node,
                                     const std::wstring& dllName) {
    RemovalNode next = node;
    const Removal removal = ForeseeRun(search, node, dllName);
    GuidSet products;
    const bool in64 = TakeEntries(search.start.catalog64, removal.ids, next.present64, products);
    const bool in32 = TakeEntries(search.start.catalog32, removal.ids, next.present32, products);
    if (!in64 && !in32) {
        return std::nullopt;
    }
    next.runs.push_back({dllName, products, L""});
    TakeFile(search, removal.dllPath, next);
    next.safe = IsSafe(search, next);
    return next;
}

bool IsRegular(const MachineHealth& health, const Machine& machine) {
    std::map<GUID, GUID, GuidOrder> lspOfProvider;
    std::map<std::wstring, GUID> lspOfName;
    for (const CatalogHealth* catalog : {&health.catalog64, &health.catalog32}) {
        const CatalogFacts& facts = *catalog->facts;
        for (size_t i = 0; i < facts.entries.size(); ++i) {
            const CatalogEntry& entry = facts.entries[i];
            const bool orphan = IsLayered(entry) && facts.owners[i] == kNoOwner;
            const GUID& lsp = IsBase(entry) ? GUID{} : facts.entries[OwnerOrSelf(facts, i)].info.ProviderId;
            const std::wstring name = FileNameForWindows(facts.files[i]);
            const bool known =
                SameGuid(lspOfProvider.emplace(entry.info.ProviderId, lsp).first->second, lsp) &&
                SameGuid(lspOfName.emplace(name, lsp).first->second, lsp);
            if (orphan || !known || facts.ids.at(entry.info.dwCatalogEntryId) > 1 ||
                entry.path.size() >= kDllPathSize - 1 || entry.info.ProtocolChain.ChainLen < 0 ||
                (!IsBase(entry) && PathOf(facts.entries, entry) != entry.path)) {
                return false;
            }
        }
    }
    return std::ranges::none_of(machine.namespaces, [&](const NamespaceProvider& provider) {
        return lspOfName.contains(FileNameForWindows(FileOfNamespace(machine, provider)));
    });
}

GuidSet FindNeeded(const RemovalSearch& search, const GUID& target) {
    GuidSet needed = {target};
    for (size_t known = 0; known != needed.size();) {
        known = needed.size();
        RemovalNode node = {search.start.catalog64.present, search.start.catalog32.present, {}, {}};
        GuidSet products;
        for (size_t i = 0; i < Facts64(search).entries.size(); ++i) {
            const CatalogEntry& entry = Facts64(search).entries[i];
            if (IsLsp(entry) && needed.contains(entry.info.ProviderId)) {
                const Removal removal = RemovalOf(Facts64(search), i);
                TakeEntries(search.start.catalog64, removal.ids, node.present64, products);
                TakeEntries(search.start.catalog32, removal.ids, node.present32, products);
            }
        }
        const MachineChange change = ChangeTo(search, node);
        for (const CatalogChange* catalog : {&change.catalog64, &change.catalog32}) {
            const CatalogFacts& facts = *catalog->before.facts;
            for (size_t i = 0; i < facts.entries.size(); ++i) {
                if (StopsWorking(*catalog, i) && facts.owners[i] != kNoOwner) {
                    needed.insert(facts.entries[facts.owners[i]].info.ProviderId);
                }
            }
        }
    }
    needed.erase(target);
    return needed;
}
