#include "machine/machine.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include "common/text_conversion.h"
#include "files/file_remover.h"
#include "machine/file_reading.h"
#include "machine/live_registry.h"
#include "machine/registry_export.h"
#include "machine/utf8_text.h"

namespace {

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

// The entries of a catalog for 64-bit ("64") or 32-bit ("") programs. Adds a warning when the catalog counts others.
std::vector<std::string> EntryKeys(const Registry& registry, const std::string& catalog,
                                   const std::string& bits, Machine& machine) {
    std::vector<std::string> keys = KeysBelow(registry, catalog + "\\Catalog_Entries" + bits);
    const long long count = Number(Find(registry, catalog, "Num_Catalog_Entries" + bits));
    if (count != static_cast<long long>(keys.size())) {
        machine.incomplete = machine.incomplete || count < 0 || count > static_cast<long long>(keys.size());
        machine.warnings.push_back(catalog + ": Num_Catalog_Entries" + bits + " is " +
                                   (count < 0 ? "missing" : std::to_string(count)) + ", and there are " +
                                   std::to_string(keys.size()));
    }
    return keys;
}

// Takes a packed item apart. Adds a warning for each thing about it that Windows would not have written.
SimulatedEntry UnpackItem(const std::string& key, const std::string& bytes, Machine& machine) {
    SimulatedEntry entry = {};
    const size_t pathEnd = std::min(bytes.find('\0'), kPathBytes);
    std::memcpy(&entry.info, bytes.data() + kPathBytes, sizeof(entry.info));
    entry.path = conv_to_wchar(bytes.substr(0, pathEnd).c_str());
    if (pathEnd == kPathBytes) {
        machine.incomplete = true;
        machine.warnings.push_back(key + ": the path has no end");
    }
    if (wcsnlen(entry.info.szProtocol, WSAPROTOCOL_LEN + 1) > WSAPROTOCOL_LEN) {
        machine.warnings.push_back(key + ": the name has no end");
    }
    const int length = entry.info.ProtocolChain.ChainLen;
    if (length < 0 || length > MAX_PROTOCOL_CHAIN) {
        machine.warnings.push_back(key + ": a chain of " + std::to_string(length) + " ids");
    }
    return entry;
}

SimulatedCatalog ReadCatalog(const Registry& registry, const std::string& catalog, const std::string& bits,
                             Machine& machine) {
    SimulatedCatalog entries;
    for (const std::string& key : EntryKeys(registry, catalog, bits, machine)) {
        const RegistryValue* item = Find(registry, key, "PackedCatalogItem");
        const size_t size = item == nullptr ? 0 : item->bytes.size();
        if (size != kPathBytes + sizeof(WSAPROTOCOL_INFOW)) {
            machine.incomplete = true;
            machine.warnings.push_back(key + ": left out, as its PackedCatalogItem has " +
                                       std::to_string(size) + " bytes");
        } else {
            entries.push_back(UnpackItem(key, item->bytes, machine));
        }
    }
    return entries;
}

void ReadCatalogs(const Registry& registry, const std::string& parameters, Machine& machine) {
    const std::string name = Text(registry, parameters, "Current_Protocol_Catalog");
    const std::string catalog = parameters + "\\" + name;
    if (name.empty()) {
        throw std::runtime_error(parameters + ": no Current_Protocol_Catalog");
    }
    for (const char* key : {"Catalog_Entries64", "Catalog_Entries"}) {
        if (!registry.loweredKeys.contains(LowerCase(catalog + "\\" + key))) {
            throw std::runtime_error(catalog + ": no " + key);
        }
    }
    machine.state.catalog64 = ReadCatalog(registry, catalog, "64", machine);
    machine.state.catalog32 = ReadCatalog(registry, catalog, "", machine);
    const long long next = Number(Find(registry, catalog, "Next_Catalog_Entry_ID"));
    machine.state.nextId = static_cast<DWORD>(std::max(next, 1001LL));
    if (next < 0) {
        machine.warnings.push_back(catalog + ": no Next_Catalog_Entry_ID");
    }
}

void ReadNamespaces(const Registry& registry, const std::string& parameters, Machine& machine) {
    const std::string name = Text(registry, parameters, "Current_NameSpace_Catalog");
    if (name.empty()) {
        machine.incomplete = true;
        machine.warnings.push_back(parameters + ": no Current_NameSpace_Catalog");
        return;
    }
    for (const char* bits : {"64", ""}) {
        for (const std::string& key : EntryKeys(registry, parameters + "\\" + name, bits, machine)) {
            machine.namespaces.emplace_back(Text(registry, key, "DisplayString"),
                                            Text(registry, key, "LibraryPath"));
            if (machine.namespaces.back().second.empty()) {
                machine.warnings.push_back(key + ": no LibraryPath");
            }
        }
    }
}

// The key of the catalogs: that of the control set in use, or of the first one; empty when there is none.
std::string FindParameters(const Registry& registry) {
    const std::string end = LowerCase(kWinsockParametersKey + std::strlen("SYSTEM\\CurrentControlSet"));
    std::string found;
    for (const std::string& key : registry.keys) {
        const std::string path = LowerCase(key);
        if (path.ends_with(end) && (found.empty() || path.ends_with("\\currentcontrolset" + end))) {
            found = key;
        }
    }
    return found;
}

// Returns whether their key is there.
bool ReadSharedCounts(const Registry& registry, Machine& machine) {
    const std::string counts = LowerCase(std::string("HKEY_LOCAL_MACHINE\\") + kSharedDllsKey);
    for (const auto& [place, value] : registry.values) {
        if (place.first == counts && Number(&value) >= 0) {
            machine.sharedCounts[place.second] = static_cast<DWORD>(Number(&value));
        }
    }
    const bool there = registry.loweredKeys.contains(counts);
    machine.hasCounts = machine.hasCounts || there;
    return there;
}

// Two machines at once would look like one that does not exist.
void TakeCatalogsOnce(Machine& machine) {
    if (machine.hasCatalogs) {
        throw std::runtime_error(
            "1: the catalogs of a second machine; those of the first one are in another file");
    }
    machine.hasCatalogs = true;
}

// Returns whether anything in it is used.
bool ReadPicture(const Registry& registry, Machine& machine) {
    const std::string parameters = FindParameters(registry);
    if (!parameters.empty()) {
        TakeCatalogsOnce(machine);
        ReadCatalogs(registry, parameters, machine);
        ReadNamespaces(registry, parameters, machine);
    }
    return ReadSharedCounts(registry, machine) || !parameters.empty();
}

// Returns whether anything in it is used. Throws std::runtime_error whose text begins with the number of a line, or with a key.
bool ReadFile(const std::string& content, Machine& machine) {
    if (content.empty()) {
        throw std::runtime_error("1: the file is empty");
    }
    if (content.starts_with("\xEF\xBB\xBF") || content.starts_with("\xFE\xFF")) {
        throw std::runtime_error("1: saved in another encoding than \"reg export\" writes, which is UTF-16");
    }
    if (IsRegistryExport(content)) {
        Registry registry;
        AddRegistryExport(content, registry);
        return ReadPicture(registry, machine);
    }
    if (content.find('\0') != std::string::npos) {
        throw std::runtime_error("1: neither an export of the registry nor a state of the sandbox");
    }
    TakeCatalogsOnce(machine);
    machine.state = ParseWinsockState(content);
    // The calls are taken to be granted, whatever the sandbox plans.
    machine.state.plan = {};
    machine.state.notElevated = false;
    return true;
}

void ReadThisMachine(Machine& machine) {
    const char* computer = std::getenv("COMPUTERNAME");
    machine.live = true;
    machine.name = computer != nullptr ? FromAnsi(computer) : "this machine";
    Registry registry;
    AddLiveRegistry(kWinsockParametersKey, registry);
    AddLiveRegistry(kSharedDllsKey, registry);
    ReadPicture(registry, machine);
}

} // namespace

Machine ReadMachine(const std::vector<std::string>& pictures) {
    Machine machine;
    for (const std::string& file : pictures) {
        machine.name += (machine.name.empty() ? "" : " ") + FromAnsi(file);
        try {
            if (!ReadFile(ReadWholeFile(file), machine)) {
                machine.warnings.push_back(FromAnsi(file) + ": nothing in it is used");
            }
        } catch (const std::runtime_error& error) {
            throw std::runtime_error(FromAnsi(file) + ":" + error.what());
        }
    }
    if (pictures.empty()) {
        ReadThisMachine(machine);
    }
    if (!machine.hasCatalogs) {
        throw std::runtime_error(machine.name + ": no catalogs; they are in HKEY_LOCAL_MACHINE\\" +
                                 kWinsockParametersKey);
    }
    return machine;
}
