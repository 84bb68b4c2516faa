// Reading and writing the text form of the simulated catalogs.
#include "simulation/winsock_state.h"

#include <algorithm>
#include <cctype>
#include <climits>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "common/text_conversion.h"
#include "machine/text.h"
#include "simulation/state_lines.h"
#include "simulation/winsock_functions.h"

namespace {

// The 32-bit members, by their names in the text.
const std::pair<const char*, size_t> kNumberFields[] = {
// clang-format off
#define FIELD(name, member) {name, offsetof(WSAPROTOCOL_INFOW, member)}
    FIELD("flags1", dwServiceFlags1), FIELD("flags2", dwServiceFlags2), FIELD("flags3", dwServiceFlags3),
    FIELD("flags4", dwServiceFlags4), FIELD("provider-flags", dwProviderFlags), FIELD("version", iVersion),
    FIELD("family", iAddressFamily), FIELD("max-address", iMaxSockAddr), FIELD("min-address", iMinSockAddr),
    FIELD("type", iSocketType), FIELD("protocol", iProtocol), FIELD("protocol-offset", iProtocolMaxOffset),
    FIELD("byte-order", iNetworkByteOrder), FIELD("security", iSecurityScheme),
    FIELD("message-size", dwMessageSize), FIELD("reserved", dwProviderReserved),
    // clang-format on
};

DWORD NumberAt(const WSAPROTOCOL_INFOW& info, size_t offset) {
    DWORD number = 0;
    std::memcpy(&number, reinterpret_cast<const char*>(&info) + offset, sizeof(number));
    return number;
}

void ReadChain(const std::string& ids, WSAPROTOCOLCHAIN& chain) {
    for (const std::string& id : SplitAt(ids, ",")) {
        if (chain.ChainLen == MAX_PROTOCOL_CHAIN) {
            throw std::runtime_error("a chain of more than 7 ids");
        }
        if (id.empty()) {
            throw std::runtime_error("a comma without an id");
        }
        chain.ChainEntries[chain.ChainLen++] = ParseNumber32(id);
    }
}

void SetField(CatalogEntry& entry, const std::string& key, const std::string& value) {
    if (key == "chain") {
        ReadChain(value, entry.info.ProtocolChain);
    } else if (key == "length") {
        entry.info.ProtocolChain.ChainLen = static_cast<int>(ParseNumber(value, INT_MIN, INT_MAX));
    } else if (key == "path") {
        if (LeavesSandbox(value)) {
            throw std::runtime_error("a path that leaves the sandbox: " + value);
        }
        entry.path = conv_utf8_to_wchar(value.c_str());
    } else if (key == "name") {
        // A name that fills the array has no terminator there, as in a corrupt catalog.
        const std::wstring name = conv_utf8_to_wchar(value.c_str());
        if (name.size() > WSAPROTOCOL_LEN + 1) {
            throw std::runtime_error("a name of more than 256 characters");
        }
        std::copy(name.begin(), name.end(), entry.info.szProtocol);
    } else {
        const auto field = std::find_if(std::begin(kNumberFields), std::end(kNumberFields),
                                        [&](const auto& each) { return key == each.first; });
        if (field == std::end(kNumberFields)) {
            throw std::runtime_error("unknown field: " + key);
        }
        const DWORD number = ParseNumber32(value);
        std::memcpy(reinterpret_cast<char*>(&entry.info) + field->second, &number, sizeof(number));
    }
}

void ReadStateLine(std::string line, WinsockState& state, Catalog*& catalog) {
    const std::string word = TakeWord(line);
    if (word == "next-id") {
        state.nextId = ParseNumber32(line);
    } else if (word == "not-elevated" && line.empty()) {
        state.notElevated = true;
    } else if (word == "fail" || word == "failed") {
        state.plan.faults.push_back(ParseFault(line, kWinsockFunctions));
        state.plan.faults.back().occurrences = word == "failed" ? 1 : 0;
    } else if (word == "catalog" && (line == "64" || line == "32")) {
        catalog = line == "32" ? &state.catalog32 : &state.catalog64;
    } else if (word == "entry") {
        catalog->push_back(ParseEntry(line));
    } else {
        throw std::runtime_error("not a line of a state file: " + (word + " " + line).substr(0, 100));
    }
}

std::string Quoted(const char* key, const std::wstring& value) {
    return std::string(" ") + key + "=\"" + conv_wchar_to_utf8(value.c_str()) + "\"";
}

// The ids of a chain up to its length, and any behind it.
std::string FormatChain(const WSAPROTOCOLCHAIN& chain) {
    int ids = MAX_PROTOCOL_CHAIN;
    while (ids > 0 && chain.ChainEntries[ids - 1] == 0 && (ids > chain.ChainLen || chain.ChainLen == 1)) {
        --ids;
    }
    std::string text;
    for (int i = 0; i < ids; ++i) {
        text += (i == 0 ? " chain=" : ",") + std::to_string(chain.ChainEntries[i]);
    }
    return text + (chain.ChainLen != ids ? " length=" + std::to_string(chain.ChainLen) : "");
}

std::string FormatEntry(const CatalogEntry& entry) {
    std::string text = "entry " + std::to_string(entry.info.dwCatalogEntryId) + " " +
                       FormatGuid(entry.info.ProviderId) + FormatChain(entry.info.ProtocolChain) +
                       Quoted("path", entry.path) + Quoted("name", RawNameOf(entry.info));
    for (const auto& [key, offset] : kNumberFields) {
        if (NumberAt(entry.info, offset) != 0) {
            text += std::string(" ") + key + "=" + std::to_string(NumberAt(entry.info, offset));
        }
    }
    return text + "\n";
}

std::string FormatCatalog(const char* bits, const Catalog& catalog) {
    std::string text = std::string("catalog ") + bits + "\n";
    for (const CatalogEntry& entry : catalog) {
        text += FormatEntry(entry);
    }
    return text;
}

bool IsSlash(char c) {
    return c == '\\' || c == '/';
}

bool IsDrive(const std::string& path, size_t at) {
    return path.size() > at + 1 && isalpha(static_cast<unsigned char>(path[at])) && path[at + 1] == ':';
}

} // namespace

bool LeavesSandbox(const std::string& path) {
    if (path.size() < 2 || !IsSlash(path[0]) || !(IsSlash(path[1]) || path[1] == '?')) {
        return false;
    }
    return !(path.starts_with("\\\\?\\") && IsDrive(path, 4));
}

std::string DrivesOf(const Catalogs& catalogs) {
    std::string drives;
    for (const Catalog* catalog : {&catalogs.catalog64, &catalogs.catalog32}) {
        for (const CatalogEntry& entry : *catalog) {
            const std::string path = conv_wchar_to_utf8(entry.path.c_str());
            const size_t at = path.starts_with("\\\\?\\") ? 4 : 0;
            const char drive = IsDrive(path, at) ? static_cast<char>(tolower(path[at])) : 'c';
            drives += drives.find(drive) == std::string::npos ? std::string(1, drive) : "";
        }
    }
    return drives;
}

CatalogEntry ParseEntry(std::string text) {
    CatalogEntry entry = {};
    entry.info.dwCatalogEntryId = ParseNumber32(TakeWord(text));
    entry.info.ProviderId = ParseGuid(TakeWord(text));
    ReadFields(text, [&](const std::string& key, const std::string& value) { SetField(entry, key, value); });
    return entry;
}

WinsockState ParseWinsockState(const std::string& text) {
    WinsockState state;
    Catalog* catalog = &state.catalog64;
    ReadLines(text, [&](const std::string& line, int) { ReadStateLine(line, state, catalog); });
    return state;
}

std::string FormatWinsockState(const WinsockState& state) {
    std::string text =
        "next-id " + std::to_string(state.nextId) + (state.notElevated ? "\nnot-elevated\n" : "\n");
    for (const PlannedFault& fault : state.plan.faults) {
        text += FormatFault(fault);
    }
    return text + FormatCatalog("64", state.catalog64) + FormatCatalog("32", state.catalog32);
}
