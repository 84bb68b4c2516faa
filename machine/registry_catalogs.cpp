#include "machine/registry_catalogs.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include "common/text_conversion.h"
#include "machine/text.h"

namespace {

constexpr char kExportWhole[] =
    "export the whole key HKLM\\SYSTEM\\CurrentControlSet\\Services\\WinSock2\\Parameters";
constexpr size_t kPathBytes = MAX_PATH; // the path of a packed item, in front of the protocol's information

std::string Text(const Registry& registry, const std::string& key, const std::string& name) {
    const RegistryValue* value = FindValue(registry, key, name);
    return value != nullptr && (value->type == REG_SZ || value->type == REG_EXPAND_SZ) ? value->bytes : "";
}

// The value as a number; -1 for none.
long long Number(const RegistryValue* value) {
    DWORD number = 0;
    if (value == nullptr || value->type != REG_DWORD || value->bytes.size() != sizeof(number)) {
        return -1;
    }
    std::memcpy(&number, value->bytes.data(), sizeof(number));
    return number;
}

// The keys right below a key, in their order.
std::vector<std::string> KeysBelow(const Registry& registry, const std::string& path) {
    const std::string start = LowerCase(path + "\\");
    std::vector<std::string> below;
    for (const StoredKey& key : registry.keys) {
        if (key.lowered.starts_with(start) && key.lowered.find('\\', start.size()) == std::string::npos) {
            below.push_back(key.path);
        }
    }
    return below;
}

// Adds a gap where the number of entries of a catalog is missing or no number, or differs from the number of
// its keys. All keys count.
void CheckCount(const Registry& registry, const std::string& catalog, const std::string& name, size_t keys,
                Machine& machine) {
    const RegistryValue* value = FindValue(registry, catalog, name);
    const long long count = Number(value);
    if (count == static_cast<long long>(keys)) {
        return;
    }
    std::string found = value == nullptr ? "is missing" : "is not a REG_DWORD of 4 bytes";
    if (count >= 0) {
        found = "is " + std::to_string(count);
    }
    machine.gaps.push_back(catalog + ": " + name + " " + found + ", and there are " + std::to_string(keys) +
                           " entries");
}

// Windows names the entries 000000000001, 000000000002 ... Adds a warning for the first one with another
// name.
void CheckNames(const std::vector<std::string>& keys, Machine& machine) {
    for (size_t i = 0; i < keys.size(); ++i) {
        char expected[32];
        _snprintf(expected, sizeof(expected), "\\%012u", static_cast<unsigned>(i) + 1);
        if (!keys[i].ends_with(expected)) {
            machine.warnings.push_back(keys[i] + ": " + (expected + 1) + " is expected here");
            return;
        }
    }
}

// The keys of the entries of a catalog for 64-bit ("64") or 32-bit ("") programs.
std::vector<std::string> EntryKeys(const Registry& registry, const std::string& catalog,
                                   const std::string& bits, Machine& machine) {
    std::vector<std::string> keys = KeysBelow(registry, catalog + "\\Catalog_Entries" + bits);
    CheckCount(registry, catalog, "Num_Catalog_Entries" + bits, keys.size(), machine);
    CheckNames(keys, machine);
    return keys;
}

// Takes a packed item apart. Adds a gap or a warning for each thing about it that Windows would not have
// written.
CatalogEntry UnpackItem(const std::string& key, const std::string& bytes, Machine& machine) {
    CatalogEntry entry = {};
    const size_t pathEnd = std::min(bytes.find('\0'), kPathBytes);
    std::memcpy(&entry.info, bytes.data() + kPathBytes, sizeof(entry.info));
    entry.path = conv_to_wchar(bytes.substr(0, pathEnd).c_str());
    if (pathEnd == kPathBytes) {
        machine.gaps.push_back(key + ": its path has no terminator");
    }
    if (wcsnlen(entry.info.szProtocol, WSAPROTOCOL_LEN + 1) > WSAPROTOCOL_LEN) {
        machine.warnings.push_back(key + ": its name has no terminator");
    }
    const int length = entry.info.ProtocolChain.ChainLen;
    if (length < 0 || length > MAX_PROTOCOL_CHAIN) {
        machine.warnings.push_back(key + ": its chain length is " + std::to_string(length));
    }
    return entry;
}

Catalog ReadCatalog(const Registry& registry, const std::string& catalog, const std::string& bits,
                    Machine& machine) {
    Catalog entries;
    for (const std::string& key : EntryKeys(registry, catalog, bits, machine)) {
        const RegistryValue* item = FindValue(registry, key, "PackedCatalogItem");
        const size_t size = item == nullptr ? 0 : item->bytes.size();
        if (size != kPathBytes + sizeof(WSAPROTOCOL_INFOW)) {
            machine.gaps.push_back(key + ": not read: its PackedCatalogItem has " + std::to_string(size) +
                                   " bytes");
        } else {
            entries.push_back(UnpackItem(key, item->bytes, machine));
        }
    }
    return entries;
}

// The key of the catalogs of protocols: the one that is named as current. Without the key above it, it is the
// only one that there is.
std::string ProtocolCatalogOf(const Registry& registry, const std::string& parameters) {
    const std::string current = Text(registry, parameters, "Current_Protocol_Catalog");
    if (FindKey(registry, parameters) != nullptr) {
        return current.empty() ? "" : parameters + "\\" + current;
    }
    std::vector<std::string> keys = KeysBelow(registry, parameters);
    std::erase_if(keys, [](const std::string& key) {
        return AsciiLowerCase(key).find("\\protocol_catalog") == std::string::npos;
    });
    return keys.size() == 1 ? keys[0] : "";
}

void ReadCatalogs(const Registry& registry, const std::string& parameters, Machine& machine) {
    const std::string catalog = ProtocolCatalogOf(registry, parameters);
    if (catalog.empty() || FindKey(registry, catalog + "\\Catalog_Entries") == nullptr) {
        throw std::runtime_error(
            parameters + ": the catalogs are missing; " +
            (machine.live ? "back up that key, then netsh winsock reset makes new ones" : kExportWhole));
    }
    if (FindKey(registry, catalog + "\\Catalog_Entries64") == nullptr) {
        throw std::runtime_error(catalog +
                                 ": Catalog_Entries64 is missing: this is a 32-bit Windows, and norvane64 is "
                                 "for 64-bit Windows");
    }
    machine.catalogs.catalog64 = ReadCatalog(registry, catalog, "64", machine);
    machine.catalogs.catalog32 = ReadCatalog(registry, catalog, "", machine);
    if (!machine.live && machine.catalogs.catalog64.empty() && machine.catalogs.catalog32.empty()) {
        throw std::runtime_error(catalog + ": no entry of the catalogs can be read; " + kExportWhole);
    }
    const long long next = Number(FindValue(registry, catalog, "Next_Catalog_Entry_ID"));
    machine.catalogs.nextId = static_cast<DWORD>(std::max(next, 1001LL));
    if (next < 0) {
        machine.warnings.push_back(catalog + ": Next_Catalog_Entry_ID is missing");
    }
}

void AddNamespace(const Registry& registry, const std::string& key, bool is32, Machine& machine) {
    const std::string path = Text(registry, key, "LibraryPath");
    const bool enabled = Number(FindValue(registry, key, "Enabled")) != 0;
    machine.namespaces.push_back({Text(registry, key, "DisplayString"), path, is32, enabled});
    if (path.empty()) {
        machine.gaps.push_back(key + ": LibraryPath is missing");
    }
}

void ReadNamespaces(const Registry& registry, const std::string& parameters, Machine& machine) {
    const std::string name = Text(registry, parameters, "Current_NameSpace_Catalog");
    if (name.empty()) {
        machine.gaps.push_back(parameters + ": Current_NameSpace_Catalog is missing");
        return;
    }
    machine.knowsNamespaces = true;
    for (const char* bits : {"64", ""}) {
        for (const std::string& key : EntryKeys(registry, parameters + "\\" + name, bits, machine)) {
            AddNamespace(registry, key, *bits == '\0', machine);
        }
    }
}

} // namespace

void AddRegistryCatalogs(const Registry& registry, const std::string& parameters, Machine& machine) {
    ReadCatalogs(registry, parameters, machine);
    if (FindKey(registry, parameters) != nullptr) {
        ReadNamespaces(registry, parameters, machine);
    }
}
