#include "simulation/windows_output.h"

#include <objbase.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "common/text_conversion.h"
#include "machine/control_set.h"
#include "machine/text.h"

namespace {

const std::string kKey = std::string("HKEY_LOCAL_MACHINE\\") + kWinsockParametersKey;

// A binary value as Windows writes it, folded.
std::string HexValue(const char* name, const std::string& bytes) {
    std::string text = std::string("\"") + name + "\"=hex:";
    size_t column = text.size();
    for (size_t i = 0; i < bytes.size(); ++i) {
        char digits[8];
        _snprintf(digits, sizeof(digits), i + 1 < bytes.size() ? "%02x," : "%02x",
                  static_cast<unsigned char>(bytes[i]));
        text += digits;
        column += std::strlen(digits);
        if (column > 76 && i + 1 < bytes.size()) {
            text += "\\\r\n  ";
            column = 2;
        }
    }
    return text + "\r\n\r\n";
}

std::string CatalogKeys(const std::string& key, const Catalog& catalog) {
    std::string text = "[" + key + "]\r\n\r\n";
    int number = 0;
    for (const CatalogEntry& entry : catalog) {
        std::string item = conv_to_char(entry.path.c_str());
        item.resize(MAX_PATH, '\0');
        item.append(reinterpret_cast<const char*>(&entry.info), sizeof(entry.info));
        char name[16];
        _snprintf(name, sizeof(name), "\\%012d", ++number);
        text += "[" + key + name + "]\r\n" + HexValue("PackedCatalogItem", item);
    }
    return text;
}

std::string Line(const char* label, const std::string& value) {
    char text[64];
    _snprintf(text, sizeof(text), "%-36s", label);
    return text + value + "\r\n";
}

std::string Line(const char* label, long number) {
    return Line(label, std::to_string(number));
}

// With all of its fields.
std::string FullGuid(const GUID& guid) {
    wchar_t text[39] = {};
    StringFromGUID2(guid, text, 39);
    return ToUtf8(text);
}

const char* EntryType(int chainLength) {
    const char* const types[] = {"Layered Service Provider", "Base Service Provider", "Layered Chain Entry"};
    return types[std::clamp(chainLength, 0, 2)];
}

std::string ListedEntry(const CatalogEntry& entry, const char* suffix) {
    const WSAPROTOCOL_INFOW& info = entry.info;
    const WSAPROTOCOLCHAIN& chain = info.ProtocolChain;
    char flags[16];
    _snprintf(flags, sizeof(flags), "0x%lx", info.dwServiceFlags1);
    std::string text = "\r\nWinsock Catalog Provider Entry\r\n" + std::string(54, '-') + "\r\n" +
                       Line("Entry Type:", EntryType(chain.ChainLen) + std::string(suffix)) +
                       Line("Description:", conv_wchar_to_utf8(info.szProtocol)) +
                       Line("Provider ID:", FullGuid(info.ProviderId)) +
                       Line("Provider Path:", conv_wchar_to_utf8(entry.path.c_str())) +
                       Line("Catalog Entry ID:", static_cast<long>(info.dwCatalogEntryId)) +
                       Line("Version:", info.iVersion) + Line("Address Family:", info.iAddressFamily) +
                       Line("Max Address Length:", info.iMaxSockAddr) +
                       Line("Min Address Length:", info.iMinSockAddr) +
                       Line("Socket Type:", info.iSocketType) + Line("Protocol:", info.iProtocol) +
                       Line("Service Flags:", flags) + Line("Protocol Chain Length:", chain.ChainLen);
    for (int i = 0; chain.ChainLen > 1 && i < std::min(chain.ChainLen, MAX_PROTOCOL_CHAIN); ++i) {
        text += (i == 0 ? "Protocol Chain: " : " : ") + std::to_string(chain.ChainEntries[i]);
    }
    return text + (chain.ChainLen > 1 ? "\r\n" : "");
}

std::string DwordValue(const char* name, size_t number) {
    char text[64];
    _snprintf(text, sizeof(text), "\"%s\"=dword:%08x\r\n", name, static_cast<unsigned>(number));
    return text;
}

} // namespace

std::string ExportOf(const Catalogs& catalogs) {
    const std::string catalog = kKey + "\\Protocol_Catalog9";
    return "Windows Registry Editor Version 5.00\r\n\r\n[" + kKey +
           "]\r\n\"Current_Protocol_Catalog\"=\"Protocol_Catalog9\"\r\n"
           "\"Current_NameSpace_Catalog\"=\"NameSpace_Catalog5\"\r\n\r\n[" +
           catalog + "]\r\n" + DwordValue("Num_Catalog_Entries", catalogs.catalog32.size()) +
           DwordValue("Num_Catalog_Entries64", catalogs.catalog64.size()) +
           DwordValue("Next_Catalog_Entry_ID", catalogs.nextId) + "\r\n" +
           CatalogKeys(catalog + "\\Catalog_Entries", catalogs.catalog32) +
           CatalogKeys(catalog + "\\Catalog_Entries64", catalogs.catalog64) + "[" + kKey +
           "\\NameSpace_Catalog5]\r\n" + DwordValue("Num_Catalog_Entries", 0) +
           DwordValue("Num_Catalog_Entries64", 1) + "\r\n[" + kKey +
           "\\NameSpace_Catalog5\\Catalog_Entries64\\000000000001]\r\n"
           "\"DisplayString\"=\"@%SystemRoot%\\\\System32\\\\mswsock.dll,-60100\"\r\n"
           "\"LibraryPath\"=\"C:\\\\p\\\\a.dll\"\r\n\r\n";
}

std::string ListingOf(const Catalogs& catalogs) {
    std::string text;
    for (const CatalogEntry& entry : catalogs.catalog64) {
        text += ListedEntry(entry, "");
    }
    for (const CatalogEntry& entry : catalogs.catalog32) {
        text += ListedEntry(entry, " (32)");
    }
    return text + "\r\nName Space Provider Entry\r\n" + std::string(54, '-') + "\r\n" +
           Line("Description:", "@%SystemRoot%\\System32\\mswsock.dll,-60100") +
           Line("Provider ID:", "{22059D40-7E9E-11CF-AE5A-00AA00A7112B}") + Line("Name Space:", 12) +
           Line("Active:", 1) + Line("Version:", 0L);
}

std::string AsWide(const std::string& text) {
    const std::wstring wide = conv_utf8_to_wchar(text.c_str());
    return "\xFF\xFE" + std::string(reinterpret_cast<const char*>(wide.data()), wide.size() * 2);
}
