#include "rehearsal/removal_order.h"

#include <windows.h>

#include <algorithm>
#include <deque>
#include <map>
#include <tuple>

#include "common/text_conversion.h"
#include "lsp/lsp_map.h"
#include "lsp/provider_entries.h"
#include "machine/text.h"
#include "rehearsal/lsp_graph.h"

namespace {

constexpr size_t kMostRuns = 50;
constexpr size_t kShortOrder = 5;     // runs; these orders are searched for a longer time
constexpr ULONGLONG kMostTime = 1000; // milliseconds
constexpr ULONGLONG kMostTimeForShort = 2500;

// The machine after some runs.
struct Node {
    Flags present64;
    Flags present32;
    std::set<std::wstring> deleted;
    std::map<std::string, DWORD> counts;
    std::vector<RemovalRun> runs = {};
    bool safe = true; // whether a step can end here
};

struct Search {
    const Rehearsal& rehearsal;
    MachineHealth start;
    std::vector<std::wstring> names; // of the LSPs over the target, those on top first, and of the target
    std::vector<size_t> targets;     // the entries of the 64-bit catalog that have to be removed
    bool regular;                    // whether an LSP has nothing in common with others but the chains
    ULONGLONG begun;                 // when the search began, in milliseconds
};

const CatalogFacts& Facts64(const Search& search) {
    return *search.start.catalog64.facts;
}

// The path that Windows gives for an LSP.
const std::wstring& PathOf(const Catalog& catalog, const CatalogEntry& lsp) {
    return FindProvider(catalog, lsp.info.ProviderId)->path;
}

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
Machine BareMachineAt(const Search& search, const Node& node) {
    Machine machine;
    machine.live = search.rehearsal.machine.live;
    machine.folders = search.rehearsal.machine.folders;
    machine.hasCounts = search.rehearsal.machine.hasCounts;
    machine.sharedCounts = node.counts;
    machine.deletedFiles = node.deleted;
    return machine;
}

MachineChange ChangeTo(const Search& search, const Node& node) {
    return {{search.start.catalog64, Without(search.start.catalog64, node.present64, node.deleted)},
            {search.start.catalog32, Without(search.start.catalog32, node.present32, node.deleted)},
            node.deleted};
}

// Whether everything works that remains and worked at the start.
bool IsSafe(const Search& search, const Node& node) {
    const MachineChange change = ChangeTo(search, node);
    const auto any = [](const CatalogEntry&, bool) { return true; };
    for (const CatalogChange* catalog : {&change.catalog64, &change.catalog32}) {
        for (size_t i = 0; i < catalog->before.present.size(); ++i) {
            if (FindHarm(*catalog, i, any)) {
                return false;
            }
        }
    }
    const Machine& machine = search.rehearsal.machine;
    return std::ranges::none_of(machine.namespaces, [&](const NamespaceProvider& provider) {
        return HarmsLookups(machine, change, provider);
    });
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
Removal PredictRun(const Search& search, const Node& node, const std::wstring& dllName) {
    const CatalogFacts& facts = Facts64(search);
    for (size_t i = 0; i < facts.entries.size(); ++i) {
        if (node.present64[i] && IsLsp(facts.entries[i]) &&
            FileNameForCommand(facts.entries[i].path) == dllName) {
            return RemovalOf(facts, i);
        }
    }
    return {};
}

Removal ForeseeRun(const Search& search, const Node& node, const std::wstring& dllName) {
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
void TakeFile(const Search& search, const std::wstring& path, Node& node) {
    const Machine machine = BareMachineAt(search, node);
    const DllFate file = FindDllFate(machine, path);
    const auto count = node.counts.find(LowerCase(ToUtf8(path)));
    if (count != node.counts.end() && file.exists && --count->second == 0) {
        node.counts.erase(count);
    }
    if (file.deleted) {
        node.deleted.insert(FileOn(machine, path, false));
        node.runs.back().deletedFile = OpenedPath(path, machine.folders, false);
    }
}

// Takes the entries with some provider ids out of a catalog. Returns whether there were any.
bool TakeEntries(const CatalogHealth& health, const GuidSet& ids, Flags& present,
                 std::set<Product>& products) {
    bool taken = false;
    for (size_t i = 0; i < present.size(); ++i) {
        if (present[i] && ids.contains(health.facts->entries[i].info.ProviderId)) {
            present[i] = false;
            taken = true;
            products.insert(ProductOf(health, i));
        }
    }
    return taken;
}

// The node that a run leads to; nothing when the run removes nothing.
std::optional<Node> NodeAfter(const Search& search, const Node& node, const std::wstring& dllName) {
    Node next = node;
    const Removal removal = ForeseeRun(search, node, dllName);
    std::set<Product> products;
    const bool in64 = TakeEntries(search.start.catalog64, removal.ids, next.present64, products);
    const bool in32 = TakeEntries(search.start.catalog32, removal.ids, next.present32, products);
    if (!in64 && !in32) {
        return std::nullopt;
    }
    next.runs.push_back({dllName, {products.begin(), products.end()}, L""});
    TakeFile(search, removal.dllPath, next);
    next.safe = IsSafe(search, next);
    return next;
}

bool IsDone(const Search& search, const Node& node) {
    return node.safe && std::ranges::none_of(search.targets, [&](size_t i) { return node.present64[i]; });
}

// Whether a layered entry of the 64-bit catalog has no LSP.
bool HasOrphans(const CatalogFacts& facts, const Flags& present) {
    for (size_t i = 0; i < present.size(); ++i) {
        const size_t owner = facts.owners[i];
        if (present[i] && IsLayered(facts.entries[i]) && (owner == kNoOwner || !present[owner])) {
            return true;
        }
    }
    return false;
}

// The names with which a run can follow. Within a step it is the name of the step.
std::vector<std::wstring> NamesAt(const Search& search, const Node& node) {
    if (!node.safe) {
        return {node.runs.back().dllName};
    }
    std::vector<std::wstring> names = search.names;
    if (HasOrphans(Facts64(search), node.present64) && std::ranges::find(names, L"") == names.end()) {
        names.push_back(L"");
    }
    return names;
}

// Whether the time for orders of that length is over.
bool IsTooLate(const Search& search, const Node& node) {
    return GetTickCount64() - search.begun > (node.runs.size() < kShortOrder ? kMostTimeForShort : kMostTime);
}

// Takes the first safe run again and again; nothing when that does not remove the target.
std::optional<Node> GoFirstWay(const Search& search, Node node) {
    while (!IsDone(search, node)) {
        std::optional<Node> next;
        for (const std::wstring& name : search.names) {
            next = NodeAfter(search, node, name);
            while (next && !next->safe && next->runs.size() < kMostRuns && !IsTooLate(search, *next)) {
                next = NodeAfter(search, *next, name);
            }
            if (next && next->safe) {
                break;
            }
            next.reset();
        }
        if (!next || next->runs.size() > kMostRuns || IsTooLate(search, *next)) {
            return std::nullopt;
        }
        node = *next;
    }
    return node;
}

using NodeKey = std::tuple<Flags, Flags, std::set<std::wstring>, std::map<std::string, DWORD>, std::wstring>;

// What makes two nodes the same one for all that follows.
NodeKey KeyOf(const Node& node) {
    return {node.present64, node.present32, node.deleted, node.counts,
            node.safe ? L"" : L"/" + node.runs.back().dllName};
}

// Searches breadth-first for an order with at most so many runs.
//   known  the best one so far; nothing for none
RemovalOrder SearchBroadly(const Search& search, const Node& start, const std::optional<Node>& known) {
    const size_t most = known ? known->runs.size() - 1 : kMostRuns;
    RemovalOrder order = {known ? known->runs : std::vector<RemovalRun>(),
                          known ? OrderSearch::kFound : OrderSearch::kNone};
    std::deque<Node> open = {start};
    std::set<NodeKey> seen = {KeyOf(start)};
    for (; !open.empty() && open.front().runs.size() < most; open.pop_front()) {
        for (const std::wstring& name : NamesAt(search, open.front())) {
            if (IsTooLate(search, open.front())) {
                order.search = known ? OrderSearch::kFound : OrderSearch::kGivenUp;
                return order;
            }
            std::optional<Node> next = NodeAfter(search, open.front(), name);
            if (next && IsDone(search, *next)) {
                return {next->runs, OrderSearch::kFound};
            }
            if (next && seen.insert(KeyOf(*next)).second) {
                open.push_back(*next);
            }
        }
    }
    order.search = !open.empty() && !known ? OrderSearch::kGivenUp : order.search;
    return order;
}

// Whether each LSP is recognised by a name, ids and a file of its own, in both catalogs.
bool IsRegular(const MachineHealth& health, const Machine& machine) {
    std::map<GUID, GUID, GuidOrder> lspOfProvider;
    std::map<std::wstring, GUID> lspOfName;
    for (const CatalogHealth* catalog : {&health.catalog64, &health.catalog32}) {
        const CatalogFacts& facts = *catalog->facts;
        for (size_t i = 0; i < facts.entries.size(); ++i) {
            const CatalogEntry& entry = facts.entries[i];
            const bool orphan = IsLayered(entry) && facts.owners[i] == kNoOwner;
            const size_t owner = facts.owners[i] == kNoOwner ? i : facts.owners[i];
            const GUID& lsp = IsBase(entry) ? GUID{} : facts.entries[owner].info.ProviderId;
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

// The entries of the 64-bit catalog that the command is to remove.
std::vector<size_t> FindTargets(const CatalogFacts& facts, const Rehearsal& rehearsal) {
    std::vector<size_t> targets;
    const std::optional<CatalogEntry>& target = rehearsal.run.target;
    for (size_t i = 0; i < facts.entries.size(); ++i) {
        const CatalogEntry& entry = facts.entries[i];
        const bool orphan = IsLayered(entry) && facts.owners[i] == kNoOwner;
        const bool named =
            IsLsp(entry) && FileNameForCommand(PathOf(facts.entries, entry)) == rehearsal.dllName;
        const bool isTarget = target && IsLsp(entry) &&
                              SameGuid(entry.info.ProviderId, target->info.ProviderId) &&
                              entry.info.dwCatalogEntryId == target->info.dwCatalogEntryId;
        if (target ? isTarget : named || (orphan && rehearsal.dllName.empty())) {
            targets.push_back(i);
        }
    }
    return targets;
}

// The LSPs over the target, those on top first: none is over one before it, unless they are in a circle.
std::vector<GUID> SortFromTheTop(LspGraph graph, GuidSet above) {
    std::vector<GUID> sorted;
    while (!above.empty()) {
        const GUID* top = FindTop(above, graph);
        const GUID next = top == nullptr ? *above.begin() : *top;
        sorted.push_back(next);
        above.erase(next);
        graph.erase(next);
    }
    return sorted;
}

// Adds a name that the command finds an LSP by; none for an LSP that the 64-bit catalog lacks.
void AddName(const Catalog& in64, const GUID& lsp, std::vector<std::wstring>& names) {
    const CatalogEntry* entry = FindProvider(in64, lsp);
    if (entry != nullptr && std::ranges::find(names, FileNameForCommand(entry->path)) == names.end()) {
        names.push_back(FileNameForCommand(entry->path));
    }
}

// The LSPs that have to be removed besides the target: those that stop working when the others are removed.
GuidSet FindNeeded(const Search& search, const GUID& target) {
    GuidSet needed = {target};
    for (size_t known = 0; known != needed.size();) {
        known = needed.size();
        Node node = {search.start.catalog64.present, search.start.catalog32.present, {}, {}};
        std::set<Product> products;
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

// Names an LSP that the command cannot remove, because only the 32-bit catalog has it.
RemovalOrder WithObstacle(RemovalOrder order, const Search& search, const std::vector<GUID>& above) {
    for (const GUID& lsp : above) {
        const CatalogEntry* in32 = FindLsp(search.start.catalog32.facts->entries, lsp);
        if (order.search == OrderSearch::kNone && in32 != nullptr &&
            FindProvider(Facts64(search).entries, lsp) == nullptr) {
            order.search = OrderSearch::kOnly32;
            order.inTheWay = ProductOfEntry(*in32);
        }
    }
    return order;
}

} // namespace

RemovalOrder FindRemovalOrder(const Rehearsal& rehearsal) {
    Search search = {rehearsal, {rehearsal.change.catalog64.before, rehearsal.change.catalog32.before},
                     {},        {},
                     false,     GetTickCount64()};
    search.regular = IsRegular(search.start, rehearsal.machine);
    search.targets = FindTargets(Facts64(search), rehearsal);
    const GUID target = rehearsal.run.target ? rehearsal.run.target->info.ProviderId : GUID{};
    const LspGraph graph = GraphOf(rehearsal.machine.catalogs);
    const std::vector<GUID> above =
        SortFromTheTop(graph, search.regular ? FindNeeded(search, target) : FindAbove(graph, target));
    for (const GUID& lsp : above) {
        AddName(Facts64(search).entries, lsp, search.names);
    }
    if (std::ranges::find(search.names, rehearsal.dllName) == search.names.end()) {
        search.names.push_back(rehearsal.dllName);
    }
    const Node start = {search.start.catalog64.present, search.start.catalog32.present,
                        rehearsal.machine.deletedFiles, rehearsal.machine.sharedCounts};
    const std::optional<Node> known = GoFirstWay(search, start);
    // In a regular catalog each LSP that is needed takes a run of its own: there is no shorter order.
    if (search.regular) {
        const RemovalOrder order = {known ? known->runs : std::vector<RemovalRun>(),
                                    known ? OrderSearch::kFound : OrderSearch::kNone};
        return WithObstacle(order, search, above);
    }
    return WithObstacle(SearchBroadly(search, start, known), search, above);
}
