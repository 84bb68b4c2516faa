#include "machine.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include "common/text_conversion.h"
#include "names.h"
#include "registry_picture.h"
#include "state_text.h"

namespace {

constexpr char kParameters[] = "SYSTEM\\CurrentControlSet\\Services\\WinSock2\\Parameters";
constexpr char kSharedDlls[] = "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\SharedDLLs";
constexpr size_t kPathBytes = 260; // the path of a packed item, in front of the protocol's information

const RegistryValue* Find(const RegistryPicture& picture, const std::string& key, const std::string& name) {
    const auto found = picture.values.find(LowerCase(key + "\\" + name));
    return found == picture.values.end() ? nullptr : &found->second;
}

std::string Text(const RegistryPicture& picture, const std::string& key, const std::string& name) {
    const RegistryValue* value = Find(picture, key, name);
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
std::vector<std::string> KeysBelow(const RegistryPicture& picture, const std::string& path) {
    const std::string start = LowerCase(path + "\\");
    std::vector<std::string> below;
    std::copy_if(
        picture.keys.begin(), picture.keys.end(), std::back_inserter(below), [&](const std::string& key) {
            return key.find('\\', start.size()) == std::string::npos && LowerCase(key).starts_with(start);
        });
    return below;
}

// Takes a packed item apart. Adds a warning for each thing about it that Windows would not have written.
SimulatedEntry UnpackItem(const std::string& key, const std::string& bytes,
                          std::vector<std::string>& warnings) {
    SimulatedEntry entry = {};
    const size_t pathEnd = std::min(bytes.find('\0'), kPathBytes);
    std::memcpy(&entry.info, bytes.data() + kPathBytes, sizeof(entry.info));
    entry.path = conv_to_wchar(bytes.substr(0, pathEnd).c_str());
    if (pathEnd == kPathBytes) {
        warnings.push_back(key + ": the path has no end");
    }
    if (wcsnlen(entry.info.szProtocol, WSAPROTOCOL_LEN + 1) > WSAPROTOCOL_LEN) {
        warnings.push_back(key + ": the name has no end");
    }
    const int length = entry.info.ProtocolChain.ChainLen;
    if (length < 0 || length > MAX_PROTOCOL_CHAIN) {
        warnings.push_back(key + ": a chain of " + std::to_string(length) + " ids");
    }
    return entry;
}

SimulatedCatalog ReadCatalog(const RegistryPicture& picture, const std::string& catalog,
                             const std::string& bits, std::vector<std::string>& warnings) {
    const std::vector<std::string> keys = KeysBelow(picture, catalog + "\\Catalog_Entries" + bits);
    SimulatedCatalog entries;
    for (const std::string& key : keys) {
        const RegistryValue* item = Find(picture, key, "PackedCatalogItem");
        const size_t size = item == nullptr ? 0 : item->bytes.size();
        if (size != kPathBytes + sizeof(WSAPROTOCOL_INFOW)) {
            warnings.push_back(key + ": left out, as its PackedCatalogItem has " + std::to_string(size) +
                               " bytes");
        } else {
            entries.push_back(UnpackItem(key, item->bytes, warnings));
        }
    }
    const long long count = Number(Find(picture, catalog, "Num_Catalog_Entries" + bits));
    if (count != static_cast<long long>(keys.size())) {
        warnings.push_back(catalog + ": Num_Catalog_Entries" + bits + " is " + std::to_string(count) +
                           ", and there are " + std::to_string(keys.size()));
    }
    return entries;
}

void ReadCatalogs(const RegistryPicture& picture, const std::string& parameters, Machine& machine) {
    const std::string name = Text(picture, parameters, "Current_Protocol_Catalog");
    const std::string catalog = parameters + "\\" + name;
    if (name.empty() || Find(picture, catalog, "Catalog_Entries64") == nullptr) {
        throw std::runtime_error(name.empty() ? parameters + ": no Current_Protocol_Catalog"
                                              : catalog + ": no Catalog_Entries64");
    }
    if (Find(picture, catalog, "Catalog_Entries") == nullptr) {
        machine.warnings.push_back(catalog + ": no Catalog_Entries; the 32-bit catalog is taken for empty");
    }
    machine.state.catalog64 = ReadCatalog(picture, catalog, "64", machine.warnings);
    machine.state.catalog32 = ReadCatalog(picture, catalog, "", machine.warnings);
    machine.state.nextId =
        static_cast<DWORD>(std::max(Number(Find(picture, catalog, "Next_Catalog_Entry_ID")), 1001LL));
    const std::string namespaces = parameters + "\\" + Text(picture, parameters, "Current_NameSpace_Catalog");
    for (const char* entries : {"\\Catalog_Entries64", "\\Catalog_Entries"}) {
        for (const std::string& key : KeysBelow(picture, namespaces + entries)) {
            machine.namespaces.emplace_back(Text(picture, key, "DisplayString"),
                                            Text(picture, key, "LibraryPath"));
            if (machine.namespaces.back().second.empty()) {
                machine.warnings.push_back(key + ": no LibraryPath");
            }
        }
    }
}

// Adds a file's keys to the picture, or takes its state.
void AddFile(const std::string& file, RegistryPicture& picture, Machine& machine) {
    const std::string content = ReadWholeFile(file);
    if (content.empty()) {
        throw std::runtime_error(file + ":1: the file cannot be read, or is empty");
    }
    try {
        if (IsRegistryExport(content)) {
            AddRegistryExport(content, picture);
        } else {
            machine.state = ParseWinsockState(content);
        }
    } catch (const std::runtime_error& error) {
        throw std::runtime_error(file + ":" + error.what());
    }
}

// Throws std::runtime_error when neither the picture nor a state has catalogs.
void ReadPicture(const RegistryPicture& picture, Machine& machine) {
    const std::string end = LowerCase("\\Services\\WinSock2\\Parameters");
    const auto parameters =
        std::find_if(picture.keys.begin(), picture.keys.end(),
                     [&](const std::string& key) { return LowerCase(key).ends_with(end); });
    if (parameters != picture.keys.end()) {
        ReadCatalogs(picture, *parameters, machine);
    } else if (machine.state.catalog64.empty() && machine.state.catalog32.empty()) {
        throw std::runtime_error(machine.name + ": there is no key HKEY_LOCAL_MACHINE\\" + kParameters);
    }
    const std::string counts = LowerCase(std::string("HKEY_LOCAL_MACHINE\\") + kSharedDlls + "\\");
    for (const auto& [name, value] : picture.values) {
        if (name.starts_with(counts) && Number(&value) >= 0) {
            machine.sharedCounts[name.substr(counts.size())] = static_cast<DWORD>(Number(&value));
        }
    }
}

} // namespace

Machine ReadMachine(const std::vector<std::string>& pictures) {
    Machine machine;
    RegistryPicture picture;
    for (const std::string& file : pictures) {
        machine.name += (machine.name.empty() ? "" : " ") + FromAnsi(file);
        AddFile(file, picture, machine);
    }
    if (pictures.empty()) {
        const char* computer = std::getenv("COMPUTERNAME");
        machine.live = true;
        machine.name = computer != nullptr ? FromAnsi(computer) : "this machine";
        AddLiveRegistry(kParameters, picture);
        AddLiveRegistry(kSharedDlls, picture);
    }
    ReadPicture(picture, machine);
    return machine;
}
