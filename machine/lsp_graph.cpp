#include "machine/lsp_graph.h"

#include <algorithm>

#include "lsp/provider_entries.h"

namespace {

// The LSP that each id belongs to: its hidden entry's, and those of its layered entries.
std::map<DWORD, LspKey> OwnersOf(const SimulatedCatalog& catalog) {
    std::map<DWORD, LspKey> hidden;
    for (const SimulatedEntry& entry : catalog) {
        if (IsKind(entry.info, LAYERED_PROTOCOL)) {
            hidden.emplace(entry.info.dwCatalogEntryId, KeyOf(entry.info));
        }
    }
    std::map<DWORD, LspKey> owners = hidden;
    for (const SimulatedEntry& entry : catalog) {
        const auto owner = hidden.find(entry.info.ProtocolChain.ChainEntries[0]);
        if (IsKind(entry.info, PROTOCOL_CHAIN) && owner != hidden.end()) {
            owners.emplace(entry.info.dwCatalogEntryId, owner->second);
        }
    }
    return owners;
}

void AddCatalog(const SimulatedCatalog& catalog, LspGraph& graph) {
    const std::map<DWORD, LspKey> owners = OwnersOf(catalog);
    for (const SimulatedEntry& entry : catalog) {
        const auto own = owners.find(entry.info.dwCatalogEntryId);
        for (int i = 0; own != owners.end() && i < ChainLength(entry.info); ++i) {
            const auto under = owners.find(entry.info.ProtocolChain.ChainEntries[i]);
            if (under != owners.end() && under->second != own->second) {
                graph[own->second].insert(under->second);
            }
        }
    }
}

} // namespace

LspKey KeyOf(const WSAPROTOCOL_INFOW& entry) {
    return {reinterpret_cast<const char*>(&entry.ProviderId), sizeof(GUID)};
}

LspGraph GraphOf(const WinsockState& state) {
    LspGraph graph;
    AddCatalog(state.catalog64, graph);
    AddCatalog(state.catalog32, graph);
    return graph;
}

LspKeys FindAbove(const LspGraph& graph, const LspKey& target) {
    LspKeys above = {target};
    for (size_t known = 0; known != above.size();) {
        known = above.size();
        for (const auto& [over, under] : graph) {
            if (std::any_of(under.begin(), under.end(),
                            [&](const LspKey& key) { return above.contains(key); })) {
                above.insert(over);
            }
        }
    }
    above.erase(target);
    return above;
}

const LspKey* FindTop(const LspKeys& keys, const LspGraph& graph) {
    const auto top = std::find_if(keys.begin(), keys.end(), [&](const LspKey& key) {
        return std::none_of(graph.begin(), graph.end(),
                            [&](const auto& each) { return each.second.contains(key); });
    });
    return top == keys.end() ? nullptr : &*top;
}

const SimulatedEntry* FindLsp(const SimulatedCatalog& catalog, const LspKey& key) {
    const auto found = std::find_if(catalog.begin(), catalog.end(), [&](const SimulatedEntry& entry) {
        return IsKind(entry.info, LAYERED_PROTOCOL) && KeyOf(entry.info) == key;
    });
    return found == catalog.end() ? nullptr : &*found;
}
