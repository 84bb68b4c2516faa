#include "rehearsal/catalog_health.h"

#include <windows.h>

#include <algorithm>
#include <span>
#include <utility>

#include "lsp/provider_entries.h"

namespace {

// Only these errors mean that a file is missing. A path without a folder is searched for, so it is taken to
// be found.
bool Exists(const std::wstring& path) {
    if (!IsRooted(path) || GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES) {
        return true;
    }
    const DWORD error = GetLastError();
    return error != ERROR_FILE_NOT_FOUND && error != ERROR_PATH_NOT_FOUND;
}

bool HasValidLength(const CatalogEntry& entry) {
    return entry.info.ProtocolChain.ChainLen == ChainLength(entry.info);
}

// The ids in the chain. An entry with an invalid length is not a layered one, and has none.
std::span<const DWORD> ChainOf(const CatalogEntry& entry) {
    const size_t length = HasValidLength(entry) ? static_cast<size_t>(ChainLength(entry.info)) : 0;
    return {entry.info.ProtocolChain.ChainEntries, length};
}

// Which entries work. An entry is not among the working ones before its chain is looked at, so an id that it
// alone has does not count.
Flags FindWorking(const CatalogHealth& health) {
    Flags working(health.entries.size());
    std::set<DWORD> workingIds;
    for (bool changed = true; changed;) {
        changed = false;
        for (size_t i = 0; i < health.entries.size(); ++i) {
            const CatalogEntry& entry = health.entries[i];
            if (working[i] || !health.present[i] || !health.hasFile[i] || !HasValidLength(entry)) {
                continue;
            }
            if (!IsLayered(entry) || std::ranges::all_of(ChainOf(entry), [&](DWORD id) {
                    return id != 0 && workingIds.contains(id);
                })) {
                working[i] = changed = true;
                workingIds.insert(entry.info.dwCatalogEntryId);
            }
        }
    }
    return working;
}

void FindWorkingAndIds(CatalogHealth& health) {
    health.works = FindWorking(health);
    health.ids.clear();
    for (size_t i = 0; i < health.entries.size(); ++i) {
        health.ids[health.entries[i].info.dwCatalogEntryId] += health.present[i] ? 1 : 0;
    }
}

CatalogHealth ExamineCatalog(const Machine& machine, bool is32) {
    const Catalog& entries = is32 ? machine.catalogs.catalog32 : machine.catalogs.catalog64;
    CatalogHealth health = {is32, entries, {}, FindOwners(entries), Flags(entries.size(), true), {}, {}, {}};
    for (const CatalogEntry& entry : entries) {
        const std::wstring file = FileOf(entry.path, machine.folders, is32);
        health.files.push_back(file);
        health.hasFile.push_back(!machine.deletedFiles.contains(file) && (!machine.live || Exists(file)));
    }
    FindWorkingAndIds(health);
    return health;
}

std::vector<DWORD> FindBrokenIds(const CatalogHealth& health, size_t index) {
    std::vector<DWORD> broken;
    for (size_t i = 0; i < health.entries.size(); ++i) {
        const DWORD id = health.entries[i].info.dwCatalogEntryId;
        if (health.present[i] && !health.works[i] && ChainHasId(&health.entries[index].info, id)) {
            broken.push_back(id);
        }
    }
    return broken;
}

} // namespace

MachineHealth Examine(const Machine& machine) {
    return {ExamineCatalog(machine, false), ExamineCatalog(machine, true)};
}

CatalogHealth Without(CatalogHealth health, const Flags& present, const std::set<std::wstring>& deleted) {
    health.present = present;
    for (size_t i = 0; i < health.entries.size(); ++i) {
        health.hasFile[i] = health.hasFile[i] && !deleted.contains(health.files[i]);
    }
    FindWorkingAndIds(health);
    return health;
}

FaultReason FindFault(const CatalogHealth& health, size_t index) {
    if (health.works[index]) {
        return {};
    }
    if (!health.hasFile[index]) {
        return {Fault::kMissingFile};
    }
    if (!HasValidLength(health.entries[index])) {
        return {Fault::kChainLength, {}, health.entries[index].info.ProtocolChain.ChainLen};
    }
    const std::vector<DWORD> missing = FindMissingIds(health, index);
    return missing.empty() ? FaultReason{Fault::kBrokenId, FindBrokenIds(health, index)}
                           : FaultReason{Fault::kMissingId, missing};
}

std::vector<DWORD> FindMissingIds(const CatalogHealth& health, size_t index) {
    const CatalogEntry& entry = health.entries[index];
    std::vector<DWORD> missing;
    for (const DWORD id : ChainOf(entry)) {
        const auto found = health.ids.find(id);
        const int others =
            (found == health.ids.end() ? 0 : found->second) - (id == entry.info.dwCatalogEntryId ? 1 : 0);
        if ((id == 0 || others < 1) && std::ranges::find(missing, id) == missing.end()) {
            missing.push_back(id);
        }
    }
    return missing;
}

size_t CountFaults(const CatalogHealth& health) {
    size_t faults = 0;
    for (size_t i = 0; i < health.entries.size(); ++i) {
        faults += health.present[i] && !health.works[i] ? 1u : 0u;
    }
    return faults;
}
