#include "machine/export_writer.h"

#include <cstdio>
#include <cstring>

#include "common/text_conversion.h"

namespace {

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

std::string CatalogKeys(const std::string& key, const SimulatedCatalog& catalog) {
    std::string text = "[" + key + "]\r\n\r\n";
    int number = 0;
    for (const SimulatedEntry& entry : catalog) {
        std::string item = conv_to_char(entry.path.c_str());
        item.resize(MAX_PATH, '\0');
        item.append(reinterpret_cast<const char*>(&entry.info), sizeof(entry.info));
        char name[16];
        _snprintf(name, sizeof(name), "\\%012d", ++number);
        text += "[" + key + name + "]\r\n" + HexValue("PackedCatalogItem", item);
    }
    return text;
}

std::string DwordValue(const char* name, size_t number) {
    char text[64];
    _snprintf(text, sizeof(text), "\"%s\"=dword:%08x\r\n", name, static_cast<unsigned>(number));
    return text;
}

} // namespace

std::string ExportOf(const WinsockState& state) {
    const std::string catalog = kParameters + "\\Protocol_Catalog9";
    return "Windows Registry Editor Version 5.00\r\n\r\n[" + kParameters +
           "]\r\n\"Current_Protocol_Catalog\"=\"Protocol_Catalog9\"\r\n"
           "\"Current_NameSpace_Catalog\"=\"NameSpace_Catalog5\"\r\n\r\n[" +
           catalog + "]\r\n" + DwordValue("Num_Catalog_Entries", state.catalog32.size()) +
           DwordValue("Num_Catalog_Entries64", state.catalog64.size()) +
           DwordValue("Next_Catalog_Entry_ID", state.nextId) + "\r\n" +
           CatalogKeys(catalog + "\\Catalog_Entries", state.catalog32) +
           CatalogKeys(catalog + "\\Catalog_Entries64", state.catalog64) + "[" + kParameters +
           "\\NameSpace_Catalog5]\r\n" + DwordValue("Num_Catalog_Entries", 0) +
           DwordValue("Num_Catalog_Entries64", 1) + "\r\n[" + kParameters +
           "\\NameSpace_Catalog5\\Catalog_Entries64\\000000000001]\r\n"
           "\"DisplayString\"=\"@%SystemRoot%\\\\System32\\\\mswsock.dll,-60100\"\r\n"
           "\"LibraryPath\"=\"C:\\\\p\\\\a.dll\"\r\n\r\n";
}

std::string AsWide(const std::string& text) {
    const std::wstring wide = conv_utf8_to_wchar(text.c_str());
    return "\xFF\xFE" + std::string(reinterpret_cast<const char*>(wide.data()), wide.size() * 2);
}
