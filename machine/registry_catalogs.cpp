#include "machine/registry_catalogs.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include "common/text_conversion.h"
#include "files/file_remover.h"
#include "machine/text.h"

namespace {

constexpr char kLocalMachine[] = "HKEY_LOCAL_MACHINE\\";
constexpr char kExportWhole[] =
    "export the whole key HKLM\\SYSTEM\\CurrentControlSet\\Services\\WinSock2\\Parameters";
constexpr size_t kPathBytes = MAX_PATH; // the path of a packed item, in front of the protocol's information

const RegistryValue* Find(const Registry& registry, const std::string& key, const std::string& name) {
    const auto found = registry.values.find({LowerCase(key), LowerCase(name)});
    return found == registry.values.end() ? nullptr : &found->second;
}

std::string Text(const Registry& registry, const std::string& key, const std::string& name) {
    const RegistryValue* value = Find(registry, key, name);
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
    std::copy_if(
        registry.keys.begin(), registry.keys.end(), std::back_inserter(below), [&](const std::string& key) {
            return key.find('\\', start.size()) == std::string::npos && LowerCase(key).starts_with(start);
        });
    return below;
}

// Adds a warning where a number of a catalog is missing or no number, or differs from the number of its keys.
// All keys count.
void CheckCount(const Registry& registry, const std::string& catalog, const std::string& name, size_t keys,
                Machine& machine) {
    const RegistryValue* value = Find(registry, catalog, name);
    const long long count = Number(value);
    if (count == static_cast<long long>(keys)) {
        return;
    }
    std::string found = value == nullptr ? "is missing" : "is not a REG_DWORD of 4 bytes";
    if (count >= 0) {
        found = "is " + std::to_string(count);
    }
    machine.warnings.push_back(catalog + ": " + name + " " + found + ", and there are " +
                               std::to_string(keys) + " entries");
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

// Takes a packed item apart. Adds a warning for each thing about it that Windows would not have written.
CatalogEntry UnpackItem(const std::string& key, const std::string& bytes, Machine& machine) {
    CatalogEntry entry = {};
    const size_t pathEnd = std::min(bytes.find('\0'), kPathBytes);
    std::memcpy(&entry.info, bytes.data() + kPathBytes, sizeof(entry.info));
    entry.path = conv_to_wchar(bytes.substr(0, pathEnd).c_str());
    if (pathEnd == kPathBytes) {
        machine.incomplete = true;
        machine.warnings.push_back(key + ": its path has no terminator");
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
        const RegistryValue* item = Find(registry, key, "PackedCatalogItem");
        const size_t size = item == nullptr ? 0 : item->bytes.size();
        if (size != kPathBytes + sizeof(WSAPROTOCOL_INFOW)) {
            machine.incomplete = true;
            machine.warnings.push_back(key + ": not read: its PackedCatalogItem has " + std::to_string(size) +
                                       " bytes");
        } else {
            entries.push_back(UnpackItem(key, item->bytes, machine));
        }
    }
    return entries;
}

void ReadCatalogs(const Registry& registry, const std::string& parameters, Machine& machine) {
    const std::string name = Text(registry, parameters, "Current_Protocol_Catalog");
    const std::string catalog = parameters + "\\" + name;
    const auto hasKey = [&](const char* key) {
        return registry.loweredKeys.contains(LowerCase(catalog + "\\" + key));
    };
    if (name.empty() || !hasKey("Catalog_Entries")) {
        throw std::runtime_error(parameters + ": the catalogs are missing; " + kExportWhole);
    }
    if (!hasKey("Catalog_Entries64")) {
        throw std::runtime_error(catalog +
                                 ": Catalog_Entries64 is missing: this is a 32-bit Windows, and norvane64 is "
                                 "for 64-bit Windows");
    }
    machine.catalogs.catalog64 = ReadCatalog(registry, catalog, "64", machine);
    machine.catalogs.catalog32 = ReadCatalog(registry, catalog, "", machine);
    const long long next = Number(Find(registry, catalog, "Next_Catalog_Entry_ID"));
    machine.catalogs.nextId = static_cast<DWORD>(std::max(next, 1001LL));
    if (next < 0) {
        machine.warnings.push_back(catalog + ": Next_Catalog_Entry_ID is missing");
    }
}

void ReadNamespaces(const Registry& registry, const std::string& parameters, Machine& machine) {
    const std::string name = Text(registry, parameters, "Current_NameSpace_Catalog");
    if (name.empty()) {
        machine.warnings.push_back(parameters + ": Current_NameSpace_Catalog is missing");
        return;
    }
    for (const char* bits : {"64", ""}) {
        for (const std::string& key : EntryKeys(registry, parameters + "\\" + name, bits, machine)) {
            const std::string path = Text(registry, key, "LibraryPath");
            machine.namespaces.push_back({Text(registry, key, "DisplayString"), path, *bits == '\0'});
            if (path.empty()) {
                machine.warnings.push_back(key + ": LibraryPath is missing");
            }
        }
    }
}

// The key of the catalogs: that of the control set in use, or of the first one; empty when there is none.
// Throws std::runtime_error for catalogs that are somewhere else.
std::string FindParameters(const Registry& registry) {
    const std::string end = LowerCase("\\Services\\WinSock2\\Parameters");
    std::string found;
    std::string elsewhere;
    for (const std::string& key : registry.keys) {
        const std::string path = LowerCase(key);
        if (!path.ends_with(end)) {
            elsewhere = path.find(LowerCase("\\WinSock2\\Parameters\\Protocol_Catalog")) != std::string::npos
                            ? key
                            : elsewhere;
        } else if (!path.starts_with(LowerCase(kLocalMachine))) {
            throw std::runtime_error(key + ": catalogs are read below HKEY_LOCAL_MACHINE alone; " +
                                     kExportWhole);
        } else if (found.empty() || path.ends_with("\\currentcontrolset" + end)) {
            found = key;
        }
    }
    if (found.empty() && !elsewhere.empty()) {
        throw std::runtime_error(elsewhere + ": a part of the catalogs; " + kExportWhole);
    }
    return found;
}

} // namespace

bool HasCatalogs(const Registry& registry) {
    return !FindParameters(registry).empty();
}

void AddRegistryCatalogs(const Registry& registry, Machine& machine) {
    const std::string parameters = FindParameters(registry);
    ReadCatalogs(registry, parameters, machine);
    ReadNamespaces(registry, parameters, machine);
}

bool AddSharedCounts(const Registry& registry, Machine& machine) {
    const std::string counts = LowerCase(std::string(kLocalMachine) + kSharedDllsKey);
    for (const auto& [place, value] : registry.values) {
        if (place.first == counts && Number(&value) >= 0) {
            machine.sharedCounts[place.second] = static_cast<DWORD>(Number(&value));
        }
    }
    const bool found = registry.loweredKeys.contains(counts);
    machine.hasCounts = machine.hasCounts || found;
    return found;
}
