// Reading and writing the text form of the simulated catalogs.
#include "winsock/winsock_state.h"

#include <objbase.h>

#include <algorithm>
#include <cstddef>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "common/text_conversion.h"

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

DWORD& FieldAt(WSAPROTOCOL_INFOW& info, size_t offset) {
    return *reinterpret_cast<DWORD*>(reinterpret_cast<char*>(&info) + offset);
}

void ReadChain(const std::string& text, WSAPROTOCOLCHAIN& chain) {
    std::istringstream ids(text);
    for (std::string id; chain.ChainLen < MAX_PROTOCOL_CHAIN && std::getline(ids, id, ',');) {
        chain.ChainEntries[chain.ChainLen++] = std::stoul(id);
    }
}

void SetField(SimulatedEntry& entry, const std::string& key, const std::string& value) {
    if (key == "chain") {
        ReadChain(value, entry.info.ProtocolChain);
    } else if (key == "length") {
        entry.info.ProtocolChain.ChainLen = std::stoi(value);
    } else if (key == "path") {
        entry.path = conv_utf8_to_wchar(value.c_str());
    } else if (key == "name") {
        // A name that fills the array has no terminator there, as in a corrupt catalog.
        const std::wstring name = conv_utf8_to_wchar(value.c_str());
        std::copy_n(name.c_str(), std::min<size_t>(name.size(), WSAPROTOCOL_LEN + 1), entry.info.szProtocol);
    } else {
        const auto field = std::find_if(std::begin(kNumberFields), std::end(kNumberFields),
                                        [&](const auto& each) { return key == each.first; });
        if (field == std::end(kNumberFields)) {
            throw std::runtime_error("unknown field " + key);
        }
        FieldAt(entry.info, field->second) = std::stoul(value, nullptr, 0);
    }
}

SimulatedEntry ReadEntry(std::istringstream& line) {
    SimulatedEntry entry = {};
    std::string guid;
    line >> entry.info.dwCatalogEntryId >> guid;
    entry.info.ProviderId = ParseGuid(guid);
    for (std::string key; std::getline(line >> std::ws, key, '=');) {
        std::string value;
        if (line.peek() == '"') {
            line.get();
            std::getline(line, value, '"');
        } else {
            line >> value;
        }
        SetField(entry, key, value);
    }
    return entry;
}

void WriteCatalog(std::ostringstream& out, const char* bits, const SimulatedCatalog& catalog) {
    out << "catalog " << bits << "\n";
    for (SimulatedEntry entry : catalog) {
        const WSAPROTOCOLCHAIN& chain = entry.info.ProtocolChain;
        const int elements = chain.ChainLen == 1 ? 0 : std::clamp(chain.ChainLen, 0, MAX_PROTOCOL_CHAIN);
        const std::wstring name(entry.info.szProtocol, wcsnlen(entry.info.szProtocol, WSAPROTOCOL_LEN + 1));
        out << "entry " << entry.info.dwCatalogEntryId << " " << FormatGuid(entry.info.ProviderId);
        for (int i = 0; i < elements; ++i) {
            out << (i == 0 ? " chain=" : ",") << chain.ChainEntries[i];
        }
        if (chain.ChainLen != elements) {
            out << " length=" << chain.ChainLen;
        }
        out << " path=\"" << conv_wchar_to_utf8(entry.path.c_str()) << "\" name=\""
            << conv_wchar_to_utf8(name.c_str()) << "\"";
        for (const auto& [name32, offset] : kNumberFields) {
            if (FieldAt(entry.info, offset) != 0) {
                out << " " << name32 << "=" << FieldAt(entry.info, offset);
            }
        }
        out << "\n";
    }
}

} // namespace

std::string FormatGuid(const GUID& guid) {
    if (guid == GUID{guid.Data1, 0, 0, {}}) {
        return "{" + std::to_string(guid.Data1) + "}";
    }
    wchar_t text[64];
    StringFromGUID2(guid, text, 64);
    return conv_wchar_to_utf8(text);
}

GUID ParseGuid(const std::string& text) {
    GUID guid = {};
    if (text.find('-') == std::string::npos) {
        guid.Data1 = std::stoul(text.substr(1));
    } else if (FAILED(CLSIDFromString(conv_utf8_to_wchar(text.c_str()).c_str(), &guid))) {
        throw std::runtime_error("not a GUID: " + text);
    }
    return guid;
}

WinsockState ParseWinsockState(const std::string& text) {
    WinsockState state;
    SimulatedCatalog* catalog = &state.catalog64;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::string word;
        words >> word;
        if (word == "next-id") {
            words >> state.nextId;
        } else if (word == "fail") {
            PlannedFault fault = {};
            words >> fault.function >> fault.call >> fault.error;
            state.faults.push_back(fault);
        } else if (word == "catalog") {
            words >> word;
            catalog = word == "32" ? &state.catalog32 : &state.catalog64;
        } else if (word == "entry") {
            catalog->push_back(ReadEntry(words));
        } else if (!word.empty() && word[0] != '#') {
            throw std::runtime_error("not a line of a Winsock state: " + line);
        }
    }
    return state;
}

std::string FormatWinsockState(const WinsockState& state) {
    std::ostringstream out;
    out << "next-id " << state.nextId << "\n";
    for (const PlannedFault& fault : state.faults) {
        out << "fail " << fault.function << " " << fault.call << " " << fault.error << "\n";
    }
    WriteCatalog(out, "64", state.catalog64);
    WriteCatalog(out, "32", state.catalog32);
    return out.str();
}
