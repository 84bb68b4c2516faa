// Reading and writing the text form of the simulated catalogs.
#include "winsock/winsock_state.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <sstream>
#include <stdexcept>

#include "common/text_conversion.h"

namespace {

struct NumberField {
    const char* name;
    size_t offset; // of a 32-bit member
};

const NumberField kNumberFields[] = {
    {"flags1", offsetof(WSAPROTOCOL_INFOW, dwServiceFlags1)},
    {"flags2", offsetof(WSAPROTOCOL_INFOW, dwServiceFlags2)},
    {"flags3", offsetof(WSAPROTOCOL_INFOW, dwServiceFlags3)},
    {"flags4", offsetof(WSAPROTOCOL_INFOW, dwServiceFlags4)},
    {"provider-flags", offsetof(WSAPROTOCOL_INFOW, dwProviderFlags)},
    {"version", offsetof(WSAPROTOCOL_INFOW, iVersion)},
    {"family", offsetof(WSAPROTOCOL_INFOW, iAddressFamily)},
    {"max-address", offsetof(WSAPROTOCOL_INFOW, iMaxSockAddr)},
    {"min-address", offsetof(WSAPROTOCOL_INFOW, iMinSockAddr)},
    {"type", offsetof(WSAPROTOCOL_INFOW, iSocketType)},
    {"protocol", offsetof(WSAPROTOCOL_INFOW, iProtocol)},
    {"protocol-offset", offsetof(WSAPROTOCOL_INFOW, iProtocolMaxOffset)},
    {"byte-order", offsetof(WSAPROTOCOL_INFOW, iNetworkByteOrder)},
    {"security", offsetof(WSAPROTOCOL_INFOW, iSecurityScheme)},
    {"message-size", offsetof(WSAPROTOCOL_INFOW, dwMessageSize)},
    {"reserved", offsetof(WSAPROTOCOL_INFOW, dwProviderReserved)},
};

DWORD& FieldOf(WSAPROTOCOL_INFOW& info, const NumberField& field) {
    return *reinterpret_cast<DWORD*>(reinterpret_cast<char*>(&info) + field.offset);
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
                                        [&](const NumberField& each) { return key == each.name; });
        if (field == std::end(kNumberFields)) {
            throw std::runtime_error("unknown field " + key);
        }
        FieldOf(entry.info, *field) = std::stoul(value, nullptr, 0);
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
        for (const NumberField& field : kNumberFields) {
            if (FieldOf(entry.info, field) != 0) {
                out << " " << field.name << "=" << FieldOf(entry.info, field);
            }
        }
        out << "\n";
    }
}

} // namespace

std::string FormatGuid(const GUID& guid) {
    char text[64];
    std::snprintf(text, sizeof(text), "{%08lX-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}", guid.Data1,
                  guid.Data2, guid.Data3, guid.Data4[0], guid.Data4[1], guid.Data4[2], guid.Data4[3],
                  guid.Data4[4], guid.Data4[5], guid.Data4[6], guid.Data4[7]);
    return text;
}

GUID ParseGuid(const std::string& text) {
    GUID guid = {};
    unsigned tail[8] = {};
    if (std::sscanf(text.c_str(), "{%8lX-%4hX-%4hX-%2X%2X-%2X%2X%2X%2X%2X%2X}", &guid.Data1, &guid.Data2,
                    &guid.Data3, &tail[0], &tail[1], &tail[2], &tail[3], &tail[4], &tail[5], &tail[6],
                    &tail[7]) != 11) {
        throw std::runtime_error("not a GUID: " + text);
    }
    std::copy(std::begin(tail), std::end(tail), guid.Data4);
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
