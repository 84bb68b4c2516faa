#include "machine/completeness.h"

#include <algorithm>
#include <map>
#include <set>
#include <tuple>

#include "lsp/provider_entries.h"
#include "machine/text.h"
#include "machine/windows_path.h"

namespace {

// One of the catalogs while it is checked.
struct Checked {
    Machine& machine;
    const Catalog& entries;
    std::string name; // "the 64-bit catalog"
    std::set<DWORD> ids;
};

void AddGap(Machine& machine, const std::string& text) {
    machine.gaps.push_back(machine.name + ": " + text);
}

// Reads the ids.
Checked Begin(Machine& machine, bool is32) {
    Checked catalog = {machine,
                       is32 ? machine.catalogs.catalog32 : machine.catalogs.catalog64,
                       is32 ? "the 32-bit catalog" : "the 64-bit catalog",
                       {}};
    std::set<DWORD> twice;
    for (const CatalogEntry& entry : catalog.entries) {
        const DWORD id = entry.info.dwCatalogEntryId;
        if (!catalog.ids.insert(id).second && twice.insert(id).second) {
            AddGap(machine, "two entries of " + catalog.name + " have the id " + std::to_string(id));
        }
    }
    return catalog;
}

void CheckBases(const Checked& catalog) {
    if (catalog.entries.empty()) {
        AddGap(catalog.machine, catalog.name + " is missing");
    } else if (std::ranges::none_of(catalog.entries, IsBase)) {
        AddGap(catalog.machine, catalog.name + " has no base provider");
    }
}

void CheckChains(const Checked& catalog) {
    for (const CatalogEntry& entry : catalog.entries) {
        const WSAPROTOCOLCHAIN& chain = entry.info.ProtocolChain;
        const DWORD* const end = chain.ChainEntries + (IsLayered(entry) ? ChainLength(entry.info) : 0);
        const DWORD* const missing = std::find_if_not(
            chain.ChainEntries, end, [&](const DWORD id) { return catalog.ids.contains(id); });
        if (missing != end) {
            AddGap(catalog.machine, "entry " + std::to_string(entry.info.dwCatalogEntryId) + " of " +
                                        catalog.name + " names the entry " + std::to_string(*missing) +
                                        ", which is missing");
        }
    }
}

void CheckLayers(const Checked& catalog) {
    const std::vector<size_t> owners = FindOwners(catalog.entries);
    const std::set<size_t> owning(owners.begin(), owners.end());
    for (size_t i = 0; i < catalog.entries.size(); ++i) {
        if (IsLsp(catalog.entries[i]) && !owning.contains(i)) {
            AddGap(catalog.machine, "the LSP " + std::to_string(catalog.entries[i].info.dwCatalogEntryId) +
                                        " of " + catalog.name + " has no layered entry");
        }
    }
}

// What an entry of one catalog has in common with that of the other: the kind and the name of the file. A
// base provider also has its protocol.
using Likeness = std::tuple<int, std::wstring, int, int, int>;

Likeness LikenessOf(const CatalogEntry& entry, const Folders& folders, bool is32) {
    const WSAPROTOCOL_INFOW& info = entry.info;
    const std::wstring name = PlainName(FileOf(entry.path, folders, is32));
    if (IsBase(entry)) {
        return {BASE_PROTOCOL, name, info.iAddressFamily, info.iSocketType, info.iProtocol};
    }
    return {std::clamp(info.ProtocolChain.ChainLen, LAYERED_PROTOCOL, PROTOCOL_CHAIN), name, 0, 0, 0};
}

// How many entries of both catalogs are alike, and the path of one of them.
struct Count {
    size_t in64 = 0;
    size_t in32 = 0;
    std::wstring path;
};

std::string TextOf(const Likeness& likeness, const Count& count) {
    const char* const kinds[] = {"LSPs", "base providers", "layered entries"};
    const int kind = std::get<0>(likeness);
    std::string text = kinds[kind];
    if (kind == BASE_PROTOCOL) {
        text += " for address family " + std::to_string(std::get<2>(likeness)) + ", socket type " +
                std::to_string(std::get<3>(likeness)) + ", protocol " + std::to_string(std::get<4>(likeness));
    }
    return text + " in " + ToUtf8(FileNameForWindows(count.path)) + ": " + std::to_string(count.in64) +
           " in the 64-bit catalog, " + std::to_string(count.in32) +
           " in the 32-bit catalog: a part of the text can be missing";
}

// A cut between two blocks at the start of a text leaves no other trace.
void CompareCatalogs(Machine& machine) {
    std::map<Likeness, Count> counts;
    for (const bool is32 : {false, true}) {
        for (const CatalogEntry& entry : is32 ? machine.catalogs.catalog32 : machine.catalogs.catalog64) {
            Count& count = counts[LikenessOf(entry, machine.folders, is32)];
            ++(is32 ? count.in32 : count.in64);
            count.path = entry.path;
        }
    }
    for (const auto& [likeness, count] : counts) {
        if (count.in64 != count.in32) {
            AddGap(machine, TextOf(likeness, count));
        }
    }
}

} // namespace

void CheckCompleteness(Machine& machine) {
    const Checked catalogs[] = {Begin(machine, false), Begin(machine, true)};
    if (!machine.fromListing) {
        return;
    }
    for (const Checked& catalog : catalogs) {
        CheckBases(catalog);
        CheckChains(catalog);
        CheckLayers(catalog);
    }
    if (!catalogs[0].entries.empty() && !catalogs[1].entries.empty()) {
        CompareCatalogs(machine);
    }
}
