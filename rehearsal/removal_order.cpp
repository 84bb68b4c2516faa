#include "rehearsal/removal_order.h"

#include <algorithm>

#include "lsp/provider_entries.h"
#include "machine/text.h"
#include "rehearsal/lsp_graph.h"

namespace {

constexpr size_t kShortOrder = 5;     // runs; these orders are searched for a longer time
constexpr ULONGLONG kMostTime = 1000; // milliseconds
constexpr ULONGLONG kMostTimeForShort = 2500;
constexpr ULONGLONG kMostWait = 10'000; // by the clock: a file can be on a share that does not answer
constexpr ULONGLONG kTicks = 10'000;    // of a millisecond

// The processor time of this process in milliseconds. It does not depend on what other programs do.
ULONGLONG ProcessTime() {
    FILETIME ignored = {};
    FILETIME kernel = {};
    FILETIME user = {};
    GetProcessTimes(GetCurrentProcess(), &ignored, &ignored, &kernel, &user);
    const auto ticks = [](const FILETIME& time) {
        return static_cast<ULONGLONG>(time.dwHighDateTime) << 32 | time.dwLowDateTime;
    };
    return (ticks(kernel) + ticks(user)) / kTicks;
}

bool IsDone(const RemovalSearch& search, const RemovalNode& node) {
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
std::vector<std::wstring> NamesAt(const RemovalSearch& search, const RemovalNode& node) {
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
bool IsTooLate(const RemovalSearch& search, const RemovalNode& node) {
    return GetTickCount64() - search.begunAt > kMostWait ||
           ProcessTime() - search.begun > (node.runs.size() < kShortOrder ? kMostTimeForShort : kMostTime);
}

// Takes the first safe run again and again; nothing when that does not remove the target.
std::optional<RemovalNode> GoFirstWay(const RemovalSearch& search, RemovalNode node) {
    while (!IsDone(search, node)) {
        std::optional<RemovalNode> next;
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

// What makes two nodes the same one for all that follows.
std::string KeyOf(const RemovalNode& node) {
    std::string key;
    for (const Flags* present : {&node.present64, &node.present32}) {
        for (const bool flag : *present) {
            key += flag ? '1' : '0';
        }
    }
    for (const std::wstring& file : node.deleted) {
        key += "|" + ToUtf8(file);
    }
    for (const auto& [path, count] : node.counts) {
        key += "|" + path + "|" + std::to_string(count);
    }
    return node.safe ? key : key + "/" + ToUtf8(node.runs.back().dllName);
}

RemovalOrder OrderOf(const std::optional<RemovalNode>& end) {
    return end ? RemovalOrder{end->runs, OrderSearch::kFound} : RemovalOrder();
}

// The order for regular catalogs. Each LSP that is needed takes a run of its own: there is no shorter order.
RemovalOrder OrderOfRegular(const RemovalSearch& search, const std::optional<RemovalNode>& end) {
    const bool atLimit = search.names.size() > kMostRuns || ProcessTime() - search.begun > kMostTime;
    return !end && atLimit ? RemovalOrder{{}, OrderSearch::kGivenUp} : OrderOf(end);
}

// Searches breadth-first for an order that is shorter than a known one.
//   known  nothing for none; then the order can have kMostRuns
RemovalOrder SearchBroadly(const RemovalSearch& search, const std::optional<RemovalNode>& known) {
    const size_t limit = known ? known->runs.size() : kMostRuns + 1;
    RemovalOrder givenUp = known ? OrderOf(known) : RemovalOrder{{}, OrderSearch::kGivenUp};
    std::vector<RemovalNode> open = {StartOf(search)};
    std::set<std::string> seen = {KeyOf(open[0])};
    size_t at = 0;
    for (; at < open.size() && open[at].runs.size() + 1 < limit; open[at++] = {}) {
        for (const std::wstring& name : NamesAt(search, open[at])) {
            if (IsTooLate(search, open[at])) {
                return givenUp;
            }
            std::optional<RemovalNode> next = NodeAfter(search, open[at], name);
            if (next && IsDone(search, *next)) {
                return {next->runs, OrderSearch::kFound};
            }
            if (next && seen.insert(KeyOf(*next)).second) {
                open.push_back(*next);
            }
        }
    }
    return at == open.size() ? OrderOf(known) : givenUp;
}

// The entries of the 64-bit catalog that the command is to remove.
std::vector<size_t> FindTargets(const CatalogFacts& facts, const Rehearsal& rehearsal) {
    std::vector<size_t> targets;
    for (size_t i = 0; i < facts.entries.size(); ++i) {
        const CatalogEntry& entry = facts.entries[i];
        const bool named =
            IsLsp(entry) && FileNameForCommand(PathOf(facts.entries, entry)) == rehearsal.dllName;
        const bool isTarget = IsLsp(entry) && IsTargetOf(rehearsal.run, entry, false);
        if (rehearsal.run.target ? isTarget : named || (IsOrphan(facts, i) && rehearsal.dllName.empty())) {
            targets.push_back(i);
        }
    }
    return targets;
}

// The LSPs over the target, those on top first: none is over one before it, unless they are in a circle.
std::vector<GUID> SortFromTheTop(LspGraph graph, GuidSet above) {
    std::vector<GUID> sorted;
    std::erase_if(graph, [&](const auto& each) { return !above.contains(each.first); });
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

// The products with some provider ids, a product before those that it lies over. The parts of one for 64-bit
// and for 32-bit programs are named once, by the 64-bit one.
std::vector<Product> NameProducts(const RemovalSearch& search, const LspGraph& graph, const GuidSet& ids) {
    std::vector<Product> products;
    for (const GUID& id : SortFromTheTop(graph, ids)) {
        for (const CatalogHealth* catalog : {&search.start.catalog64, &search.start.catalog32}) {
            const CatalogFacts& facts = *catalog->facts;
            for (size_t i = 0; i < facts.entries.size(); ++i) {
                if (OwnerOrSelf(facts, i) != i || !SameGuid(facts.entries[i].info.ProviderId, id)) {
                    continue;
                }
                const Product product = ProductOfEntry(facts.entries[i]);
                const bool isKnown = std::ranges::any_of(products, [&](const Product& known) {
                    return known == product || IsSameButFile(known, product);
                });
                if (!isKnown) {
                    products.push_back(product);
                }
            }
        }
    }
    return products;
}

// Names an LSP that the command cannot remove, because only the 32-bit catalog has it.
void NameObstacle(const RemovalSearch& search, const std::vector<GUID>& above, RemovalOrder& order) {
    for (const GUID& lsp : above) {
        const CatalogEntry* in32 = FindLsp(search.start.catalog32.facts->entries, lsp);
        if (order.search == OrderSearch::kNone && in32 != nullptr &&
            FindProvider(Facts64(search).entries, lsp) == nullptr) {
            order.search = OrderSearch::kOnly32;
            order.inTheWay = ProductOfEntry(*in32);
        }
    }
}

// The provider ids of the LSPs that an order removes; without an order, those of the target, if there is one,
// and of the LSPs to be removed before it.
GuidSet FindInvolved(const RemovalSearch& search, const RemovalOrder& order, const GuidSet& before) {
    GuidSet involved;
    for (const RemovalRun& run : order.runs) {
        involved.insert(run.products.begin(), run.products.end());
    }
    if (order.runs.empty()) {
        involved = before;
        if (search.rehearsal.run.target) {
            involved.insert(search.rehearsal.run.target->info.ProviderId);
        }
    }
    return involved;
}

} // namespace

RemovalOrder FindRemovalOrder(const Rehearsal& rehearsal) {
    RemovalSearch search = {rehearsal,     HealthBefore(rehearsal), {}, {}, false,
                            ProcessTime(), GetTickCount64()};
    search.regular = IsRegular(search.start, rehearsal.machine);
    search.targets = FindTargets(Facts64(search), rehearsal);
    const GUID target = rehearsal.run.target ? rehearsal.run.target->info.ProviderId : GUID{};
    const LspGraph graph = GraphOf(rehearsal.machine.catalogs);
    const GuidSet before = search.regular ? FindNeeded(search, target) : FindAbove(graph, target);
    const std::vector<GUID> above = SortFromTheTop(graph, before);
    for (const GUID& lsp : above) {
        AddName(Facts64(search).entries, lsp, search.names);
    }
    if (std::ranges::find(search.names, rehearsal.dllName) == search.names.end()) {
        search.names.push_back(rehearsal.dllName);
    }
    const std::optional<RemovalNode> known = GoFirstWay(search, StartOf(search));
    RemovalOrder order = search.regular ? OrderOfRegular(search, known) : SearchBroadly(search, known);
    NameObstacle(search, above, order);
    order.products = NameProducts(search, graph, FindInvolved(search, order, before));
    return order;
}
