#include "machine/catalog_drawing.h"

#include <algorithm>
#include <cstdio>
#include <map>

#include "lsp/provider_entries.h"
#include "machine/utf8_text.h"

namespace {

using Names = std::map<DWORD, std::string>;

constexpr size_t kNameColumn = 27; // bytes that a name and the blanks behind it take

std::string DrawChain(const WSAPROTOCOL_INFOW& entry, const Names& names) {
    std::string text;
    for (int i = 0; i < ChainLength(entry); ++i) {
        const DWORD id = entry.ProtocolChain.ChainEntries[i];
        const auto named = names.find(id);
        text += (i == 0 ? "" : " > ") + (named == names.end() ? "!! " + std::to_string(id) + " is gone"
                                                              : std::to_string(id) + " " + named->second);
    }
    return text + (ChainLength(entry) != entry.ProtocolChain.ChainLen ? " !! not a length" : "");
}

// The DLL of a layered entry, where it is not that of its LSP.
std::string DrawOwnPath(const SimulatedEntry& entry, const SimulatedCatalog& catalog) {
    const bool asItsLsp = std::any_of(catalog.begin(), catalog.end(), [&](const SimulatedEntry& lsp) {
        return IsLayerOf(entry.info, lsp.info.dwCatalogEntryId) && lsp.path == entry.path;
    });
    return asItsLsp || entry.path.empty() ? "" : "   " + Shown(entry.path);
}

const char* KindName(int chainLength) {
    switch (chainLength) {
    case LAYERED_PROTOCOL:
        return "LSP";
    case BASE_PROTOCOL:
        return "base";
    default:
        return "  chain";
    }
}

std::string DrawEntry(const SimulatedEntry& entry, const SimulatedCatalog& catalog, const Names& names) {
    const int length = entry.info.ProtocolChain.ChainLen;
    const std::string name = NameOf(entry.info);
    char start[32];
    _snprintf(start, sizeof(start), "    %-6lu %-8s ", entry.info.dwCatalogEntryId, KindName(length));
    if (length == LAYERED_PROTOCOL || length == BASE_PROTOCOL) {
        const size_t blanks = std::max(kNameColumn, name.size() + 1) - name.size();
        return start + name + std::string(blanks, ' ') + Shown(entry.path) + "\n";
    }
    return start + name + "   [" + DrawChain(entry.info, names) + "]" + DrawOwnPath(entry, catalog) + "\n";
}

std::string DrawCatalog(const char* bits, const SimulatedCatalog& catalog) {
    Names names;
    for (const SimulatedEntry& entry : catalog) {
        names[entry.info.dwCatalogEntryId] = NameOf(entry.info);
    }
    std::string text =
        std::string("\n  ") + bits + "-bit catalog" + (catalog.empty() ? ": empty" : "") + "\n";
    for (const SimulatedEntry& entry : catalog) {
        text += DrawEntry(entry, catalog, names);
    }
    return text;
}

} // namespace

std::string DrawCatalogs(const WinsockState& state) {
    return DrawCatalog("64", state.catalog64) + DrawCatalog("32", state.catalog32);
}
