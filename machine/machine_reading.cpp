#include "machine/machine_reading.h"

#include <algorithm>
#include <cstdlib>
#include <stdexcept>

#include "files/file_remover.h"
#include "machine/files.h"
#include "machine/netsh_listing.h"
#include "machine/registry_catalogs.h"
#include "machine/registry_export.h"
#include "machine/text.h"

namespace {

// Two machines at once would look like one that does not exist.
void TakeCatalogsOnce(Machine& machine) {
    if (machine.hasCatalogs) {
        throw std::runtime_error("1: the catalogs of a second machine; only one file may have catalogs");
    }
    machine.hasCatalogs = true;
}

bool AddExport(const std::string& content, Machine& machine) {
    Registry registry;
    AddRegistryExport(content, registry);
    if (HasCatalogs(registry)) {
        TakeCatalogsOnce(machine);
        AddRegistryCatalogs(registry, machine);
    }
    return AddSharedCounts(registry, machine) || HasCatalogs(registry);
}

// Returns whether anything in it is used. Throws std::runtime_error whose text begins with the number of a
// line, or with a key.
bool AddFile(const std::string& file, Machine& machine) {
    const std::string content = ReadWholeFile(file);
    const std::string text = DecodeText(content);
    if (content.empty()) {
        throw std::runtime_error("1: the file is empty");
    }
    if (IsRegistryExport(text) && !IsRegistryExport(content)) {
        throw std::runtime_error(
            "1: saved in another encoding; export again with reg export, which writes UTF-16");
    }
    if (IsRegistryExport(content)) {
        return AddExport(content, machine);
    }
    if (IsNetshListing(text)) {
        TakeCatalogsOnce(machine);
        AddNetshListing(FromAnsi(file), text, machine);
        return true;
    }
    throw std::runtime_error("1: neither a registry export, nor the output of netsh winsock show catalog");
}

void ReadThisMachine(Machine& machine) {
    const char* computer = std::getenv("COMPUTERNAME");
    machine.live = true;
    machine.name = computer != nullptr ? FromAnsi(computer) : "this machine";
    machine.folders = LiveFolders();
    Registry registry;
    AddLiveRegistry(kWinsockParametersKey, registry);
    AddLiveRegistry(kSharedDllsKey, registry);
    machine.hasCatalogs = HasCatalogs(registry);
    if (machine.hasCatalogs) {
        AddRegistryCatalogs(registry, machine);
    }
    AddSharedCounts(registry, machine);
}

} // namespace

Machine ReadMachine(const std::vector<std::string>& files) {
    Machine machine;
    for (const std::string& file : files) {
        machine.name += (machine.name.empty() ? "" : " ") + FromAnsi(file);
        try {
            if (!AddFile(file, machine)) {
                machine.warnings.push_back(FromAnsi(file) + ": nothing in it is used");
            }
        } catch (const std::runtime_error& error) {
            throw std::runtime_error(FromAnsi(file) + ":" + error.what());
        }
    }
    if (files.empty()) {
        ReadThisMachine(machine);
    }
    if (!machine.hasCatalogs) {
        throw std::runtime_error(machine.name + ": no catalogs; they are in HKEY_LOCAL_MACHINE\\" +
                                 kWinsockParametersKey);
    }
    return machine;
}
