#include "rehearsal/lsp_graph.h"

#include <algorithm>

#include "lsp/provider_entries.h"

namespace {

// The LSP that each id belongs to: its hidden entry's, and those of its layered entries.
std::map<DWORD, GUID> LspsOfIds(const Catalog& catalog) {
    std::map<DWORD, GUID> lsps;
    for (const CatalogEntry& entry : catalog) {
        if (IsLsp(entry)) {
            lsps.emplace(entry.info.dwCatalogEntryId, entry.info.ProviderId);
        }
    }
    const std::vector<size_t> owners = FindOwners(catalog);
    for (size_t i = 0; i < catalog.size(); ++i) {
        if (owners[i] != kNoOwner) {
            lsps.emplace(catalog[i].info.dwCatalogEntryId, catalog[owners[i]].info.ProviderId);
        }
    }
    return lsps;
}

void AddCatalog(const Catalog& catalog, LspGraph& graph) {
    const std::map<DWORD, GUID> lsps = LspsOfIds(catalog);
    for (const CatalogEntry& entry : catalog) {
        const auto own = lsps.find(entry.info.dwCatalogEntryId);
        for (int i = 0; own != lsps.end() && i < ChainLength(entry.info); ++i) {
            const auto under = lsps.find(entry.info.ProtocolChain.ChainEntries[i]);
            if (under != lsps.end() && !SameGuid(under->second, own->second)) {
                graph[own->second].insert(under->second);
            }
        }
    }
}

} // namespace

LspGraph GraphOf(const Catalogs& catalogs) {
    LspGraph graph;
    AddCatalog(catalogs.catalog64, graph);
    AddCatalog(catalogs.catalog32, graph);
    return graph;
}

GuidSet FindAbove(const LspGraph& graph, const GUID& target) {
    GuidSet above = {target};
    for (size_t known = 0; known != above.size();) {
        known = above.size();
        for (const auto& [over, under] : graph) {
            if (std::ranges::any_of(under, [&](const GUID& id) { return above.contains(id); })) {
                above.insert(over);
            }
        }
    }
    above.erase(target);
    return above;
}

const GUID* FindTop(const GuidSet& lsps, const LspGraph& graph) {
    const auto top = std::ranges::find_if(lsps, [&](const GUID& id) {
        return std::ranges::none_of(graph, [&](const auto& each) { return each.second.contains(id); });
    });
    return top == lsps.end() ? nullptr : &*top;
}

const CatalogEntry* FindLsp(const Catalog& catalog, const GUID& id) {
    const auto found = std::ranges::find_if(catalog, [&](const CatalogEntry& entry) {
        return IsLsp(entry) && SameGuid(entry.info.ProviderId, id);
    });
    return found == catalog.end() ? nullptr : &*found;
}
