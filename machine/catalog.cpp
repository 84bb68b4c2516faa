#include "machine/catalog.h"

#include <objbase.h>

#include <algorithm>
#include <cwchar>
#include <map>
#include <stdexcept>

#include "common/text_conversion.h"
#include "lsp/provider_entries.h"
#include "machine/text.h"

namespace {

constexpr int kGuidCharacters = 39; // of a whole GUID with braces and terminator

} // namespace

std::string FormatGuid(const GUID& guid) {
    if (guid == GUID{guid.Data1, 0, 0, {}}) {
        return "{" + std::to_string(guid.Data1) + "}";
    }
    wchar_t text[kGuidCharacters] = {};
    StringFromGUID2(guid, text, kGuidCharacters);
    return ToUtf8(text);
}

GUID ParseGuid(const std::string& text) {
    GUID guid = {};
    const std::string digits = text.size() > 2 ? text.substr(1, text.size() - 2) : "";
    if (text == "{" + digits + "}" && digits.find('-') == std::string::npos) {
        guid.Data1 = ParseNumber32(digits);
    } else if (text.size() + 1 != kGuidCharacters ||
               FAILED(IIDFromString(conv_utf8_to_wchar(text.c_str()).c_str(), &guid))) {
        throw std::runtime_error("not a GUID: " + text);
    }
    return guid;
}

bool IsLsp(const CatalogEntry& entry) {
    return IsKind(entry.info, LAYERED_PROTOCOL);
}

bool IsBase(const CatalogEntry& entry) {
    return IsKind(entry.info, BASE_PROTOCOL);
}

bool IsLayered(const CatalogEntry& entry) {
    return IsKind(entry.info, PROTOCOL_CHAIN);
}

std::vector<size_t> FindOwners(const Catalog& catalog) {
    std::map<DWORD, size_t> lsps; // the first hidden entry with each id
    for (size_t i = 0; i < catalog.size(); ++i) {
        if (IsLsp(catalog[i])) {
            lsps.emplace(catalog[i].info.dwCatalogEntryId, i);
        }
    }
    std::vector<size_t> owners(catalog.size(), kNoOwner);
    for (size_t i = 0; i < catalog.size(); ++i) {
        const auto lsp = lsps.find(catalog[i].info.ProtocolChain.ChainEntries[0]);
        if (IsLayered(catalog[i]) && lsp != lsps.end()) {
            owners[i] = lsp->second;
        }
    }
    return owners;
}

const CatalogEntry* FindProvider(const Catalog& catalog, const GUID& id) {
    const auto found = std::ranges::find_if(
        catalog, [&](const CatalogEntry& entry) { return SameGuid(entry.info.ProviderId, id); });
    return found == catalog.end() ? nullptr : &*found;
}

std::wstring RawNameOf(const WSAPROTOCOL_INFOW& info) {
    return {info.szProtocol, wcsnlen(info.szProtocol, WSAPROTOCOL_LEN + 1)};
}
