#include "rehearsal/report/drawing.h"

#include <algorithm>
#include <map>

#include "lsp/provider_entries.h"
#include "machine/text.h"
#include "rehearsal/report/names.h"

namespace {

using Names = std::map<DWORD, std::string>;

constexpr size_t kWidestName = 44; // characters; a longer name moves what follows it

// The characters of a UTF-8 text: the bytes that continue one are not counted.
size_t CountCharacters(const std::string& text) {
    return static_cast<size_t>(std::count_if(
        text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

// A text filled with blanks up to a width in characters.
std::string Padded(std::string text, size_t width) {
    const size_t characters = CountCharacters(text);
    return text.append(std::max(width, characters) - characters, ' ');
}

std::string DrawChain(const WSAPROTOCOL_INFOW& entry, const Names& names) {
    std::string text;
    for (int i = 0; i < ChainLength(entry); ++i) {
        const DWORD id = entry.ProtocolChain.ChainEntries[i];
        const auto named = names.find(id);
        text += (i == 0 ? "" : " > ") + std::to_string(id) + " " +
                (named == names.end() ? "MISSING" : named->second);
    }
    return text;
}

// The file of a layered entry, where it is not that of its LSP.
std::string DrawOwnPath(const CatalogEntry& entry, const Catalog& catalog) {
    const bool asItsLsp = std::any_of(catalog.begin(), catalog.end(), [&](const CatalogEntry& lsp) {
        return IsLayerOf(entry.info, lsp.info.dwCatalogEntryId) && lsp.path == entry.path;
    });
    return asItsLsp || entry.path.empty() ? "" : "   " + Shown(entry.path);
}

const char* KindOf(const CatalogEntry& entry) {
    return IsBase(entry) ? "base" : IsLsp(entry) ? "LSP" : "layered";
}

std::string DrawEntry(const CatalogEntry& entry, const Catalog& catalog, const Names& names, size_t width) {
    const bool layered = !IsLsp(entry) && !IsBase(entry);
    return Padded(std::to_string(entry.info.dwCatalogEntryId), 6) + Padded(KindOf(entry), 9) +
           Padded(NameOf(entry.info), width) + "  " +
           (layered ? "[" + DrawChain(entry.info, names) + "]" + DrawOwnPath(entry, catalog)
                    : Shown(entry.path));
}

} // namespace

size_t NameWidth(const Catalog& one, const Catalog& other) {
    size_t width = 0;
    for (const Catalog* catalog : {&one, &other}) {
        for (const CatalogEntry& entry : *catalog) {
            width = std::max(width, CountCharacters(NameOf(entry.info)));
        }
    }
    return std::min(width, kWidestName);
}

std::vector<std::string> DrawEntries(const Catalog& catalog, const Flags& present, size_t width,
                                     const std::function<char(size_t)>& mark,
                                     const std::function<std::string(size_t)>& note) {
    Names names;
    for (size_t i = 0; i < catalog.size(); ++i) {
        if (present[i]) {
            names.emplace(catalog[i].info.dwCatalogEntryId, NameOf(catalog[i].info));
        }
    }
    std::vector<std::string> lines;
    for (const bool bases : {false, true}) {
        for (size_t i = 0; i < catalog.size(); ++i) {
            if (IsBase(catalog[i]) != bases || mark(i) == '\0') {
                continue;
            }
            const std::string text = note(i);
            lines.push_back(std::string("  ") + mark(i) + " " + DrawEntry(catalog[i], catalog, names, width) +
                            (text.empty() ? "" : "\n           " + text) + "\n");
        }
    }
    return lines;
}

std::string DrawCatalogs(const Catalogs& catalogs) {
    const size_t width = NameWidth(catalogs.catalog64, catalogs.catalog32);
    std::string text;
    for (const auto& [bits, catalog] :
         {std::pair("64", &catalogs.catalog64), std::pair("32", &catalogs.catalog32)}) {
        text += std::string("\n") + bits + "-bit catalog" + (catalog->empty() ? ": empty" : "") + "\n";
        for (const std::string& line : DrawEntries(
                 *catalog, Flags(catalog->size(), true), width, [](size_t) { return ' '; },
                 [](size_t) { return std::string(); })) {
            text += line;
        }
    }
    return text;
}
