#include "machine/machine_reading.h"

#include <algorithm>
#include <cstdlib>
#include <stdexcept>

#include "files/file_remover.h"
#include "machine/completeness.h"
#include "machine/control_set.h"
#include "machine/files.h"
#include "machine/netsh_listing.h"
#include "machine/registry_catalogs.h"
#include "machine/registry_export.h"
#include "machine/shared_counts.h"
#include "machine/text.h"

namespace {

constexpr size_t kMostEntries = 5000;          // of a catalog
constexpr size_t kLargestListing = 16'000'000; // bytes of UTF-8; 10,000 entries need half of it

// A machine while its files are read.
struct Reading {
    Machine machine;
    std::string catalogsFrom; // the file and the key of its catalogs
};

// Two machines at once would look like one that does not exist.
void TakeCatalogsOnce(Reading& reading, const std::string& file, const std::string& where) {
    if (reading.machine.hasCatalogs) {
        throw std::runtime_error(where + ": the catalogs of a second machine; those of the first are in " +
                                 reading.catalogsFrom);
    }
    reading.machine.hasCatalogs = true;
    reading.catalogsFrom = file + ": " + where;
}

bool IsNeeded(const std::string& key) {
    return IsOfCatalogs(key) || IsOfSharedCounts(key);
}

// Returns whether anything in it is used.
bool AddExport(const std::string& file, const std::string& text, Reading& reading) {
    Registry registry;
    AddRegistryExport(text, IsNeeded, registry);
    const std::string parameters = FindParameters(registry);
    if (!parameters.empty()) {
        TakeCatalogsOnce(reading, file, parameters);
        AddRegistryCatalogs(registry, parameters, reading.machine);
    }
    return AddSharedCounts(registry, reading.machine) || !parameters.empty();
}

// Whether all lines of a text are empty, or comments as registry exports and scripts have them.
bool HasNoContent(const std::string& text) {
    size_t first = 0;
    while ((first = text.find_first_not_of(" \t\r\n", first)) != std::string::npos) {
        if (text[first] != ';' && text[first] != '#') {
            return false;
        }
        first = text.find('\n', first);
    }
    return true;
}

// A path with other characters can be another path when the code page is another one.
void WarnOfCodePage(const std::string& file, Machine& machine) {
    for (const Catalog* catalog : {&machine.catalogs.catalog64, &machine.catalogs.catalog32}) {
        for (const CatalogEntry& entry : *catalog) {
            if (std::ranges::any_of(entry.path, [](wchar_t c) { return c >= 0x80; })) {
                machine.warnings.push_back(
                    file + ": the code page of this file is not known, and " + ToUtf8(entry.path) +
                    " has other than ASCII characters; write the file with PowerShell: netsh winsock show "
                    "catalog | Out-File catalog.txt");
                return;
            }
        }
    }
}

// Returns whether anything in it is used. Throws std::runtime_error whose text begins with the number of a
// line, or with a key.
bool AddFile(const std::string& file, const std::string& content, Reading& reading) {
    const std::string text = DecodeText(content);
    if (IsRegistryExport(text)) {
        return AddExport(file, IsUnicode(content) ? text : DecodeText(content, true), reading);
    }
    if (HasNoContent(text)) {
        throw std::runtime_error(text.empty() ? "1: the file is empty" : "1: only blanks or comments");
    }
    if (text.size() > kLargestListing || !IsNetshListing(text)) {
        throw std::runtime_error("1: not a registry export and not the output of netsh winsock show catalog");
    }
    TakeCatalogsOnce(reading, file, "output of netsh");
    AddNetshListing(file, text, reading.machine);
    if (!IsUnicode(content)) {
        WarnOfCodePage(file, reading.machine);
    }
    return true;
}

Machine ReadFiles(const std::vector<std::wstring>& files) {
    Reading reading;
    Machine& machine = reading.machine;
    for (const std::wstring& path : files) {
        const std::string file = ToUtf8(path);
        machine.name += (machine.name.empty() ? "" : " ") + file;
        try {
            if (!AddFile(file, ReadWholeFile(path), reading)) {
                machine.warnings.push_back(file + ": nothing in it is used");
            }
        } catch (const std::runtime_error& error) {
            throw std::runtime_error(file + ":" + error.what());
        }
    }
    return machine;
}

Machine ReadThisMachine() {
    Machine machine;
    const char* computer = std::getenv("COMPUTERNAME");
    machine.live = true;
    machine.name = computer != nullptr ? FromAnsi(computer) : "this machine";
    machine.folders = LiveFolders();
    Registry registry;
    for (const char* key : {kWinsockParametersKey, kSharedDllsKey, kSharedDlls32Key}) {
        AddLiveRegistry(key, registry);
    }
    const std::string parameters = FindParameters(registry);
    machine.hasCatalogs = !parameters.empty();
    if (machine.hasCatalogs) {
        AddRegistryCatalogs(registry, parameters, machine);
    }
    AddSharedCounts(registry, machine);
    return machine;
}

} // namespace

Machine ReadMachine(const std::vector<std::wstring>& files) {
    Machine machine = files.empty() ? ReadThisMachine() : ReadFiles(files);
    if (!machine.hasCatalogs) {
        throw std::runtime_error(
            machine.name + ": no catalogs; they are in HKEY_LOCAL_MACHINE\\" + kWinsockParametersKey +
            (machine.live ? "; back up that key, then netsh winsock reset makes new ones" : ""));
    }
    if (std::max(machine.catalogs.catalog64.size(), machine.catalogs.catalog32.size()) > kMostEntries) {
        throw std::runtime_error(machine.name + ": more than 5,000 entries in a catalog");
    }
    CheckCompleteness(machine);
    return machine;
}
