#include "machine/machine_change.h"

#include <windows.h>

#include <algorithm>
#include <set>

#include "lsp/provider_entries.h"
#include "machine/entry_names.h"
#include "machine/lsp_list.h"
#include "machine/utf8_text.h"

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

// The removal takes entries by their provider ids: an id has all of its entries afterwards, or none.
Flags FindRemaining(const SimulatedCatalog& before, const SimulatedCatalog& after) {
    const auto bytesOf = [](const SimulatedEntry& entry) {
        return std::string(reinterpret_cast<const char*>(&entry.info.ProviderId), sizeof(GUID));
    };
    std::set<std::string> left;
    for (const SimulatedEntry& entry : after) {
        left.insert(bytesOf(entry));
    }
    Flags remains;
    for (const SimulatedEntry& entry : before) {
        remains.push_back(left.contains(bytesOf(entry)));
    }
    return remains;
}

CatalogChange ChangeOf(const Machine& machine, bool is32, const SimulatedCatalog& after,
                       const std::set<std::wstring>& deletedFiles) {
    const SimulatedCatalog& before = is32 ? machine.state.catalog32 : machine.state.catalog64;
    CatalogChange change = {is32, before, {}, {}, {}, {}, FindRemaining(before, after), {}, {}, {}};
    for (const SimulatedEntry& entry : before) {
        const std::wstring file = FileOf(entry.path, machine.folders, is32);
        const bool exists = !machine.deletedFiles.contains(file) && (!machine.live || Exists(file));
        change.files.push_back(file);
        change.hadFile.push_back(exists);
        change.hasFile.push_back(exists && !deletedFiles.contains(file));
    }
    change.worked = FindWorking(before, Flags(before.size(), true), change.hadFile);
    change.works = FindWorking(before, change.remains, change.hasFile);
    change.ids = CountIds(before, Flags(before.size(), true));
    change.idsAfterwards = CountIds(before, change.remains);
    return change;
}

// Whether an entry is removed that does not belong to an LSP with the DLL name.
bool IsRemovedToo(const CatalogChange& change, size_t index, const std::string& dllName) {
    const SimulatedEntry& entry = change.entries[index];
    const size_t owner = IsKind(entry.info, LAYERED_PROTOCOL) ? index : FindOwner(change.entries, entry);
    const bool ofAnother = owner != change.entries.size() && DllNameOf(change.entries[owner]) != dllName;
    return !change.remains[index] && (IsKind(entry.info, BASE_PROTOCOL) || (!change.is32 && ofAnother));
}

} // namespace

MachineChange FindNoChange(const Machine& machine) {
    return FindChange(machine, machine.state, {});
}

MachineChange FindChange(const Machine& machine, const WinsockState& after,
                         const std::set<std::wstring>& deletedFiles) {
    return {ChangeOf(machine, false, after.catalog64, deletedFiles),
            ChangeOf(machine, true, after.catalog32, deletedFiles), deletedFiles};
}

bool StopsWorking(const CatalogChange& change, size_t index) {
    return change.remains[index] && !IsKind(change.entries[index].info, LAYERED_PROTOCOL) &&
           change.worked[index] && !change.works[index];
}

bool LosesId(const CatalogChange& change, size_t index) {
    const SimulatedEntry& entry = change.entries[index];
    return change.remains[index] &&
           FindMissingIds(entry, change.ids) != FindMissingIds(entry, change.idsAfterwards);
}

bool HarmsOthers(const Machine& machine, const MachineChange& change, const std::string& dllName) {
    for (const CatalogChange* catalog : {&change.catalog64, &change.catalog32}) {
        for (size_t i = 0; i < catalog->entries.size(); ++i) {
            if (LosesId(*catalog, i) || StopsWorking(*catalog, i) || IsRemovedToo(*catalog, i, dllName)) {
                return true;
            }
        }
    }
    return std::any_of(machine.namespaces.begin(), machine.namespaces.end(),
                       [&](const NamespaceProvider& provider) {
                           return change.deletedFiles.contains(FileOfNamespace(provider, machine.folders));
                       });
}

size_t CountRemoved(const CatalogChange& change) {
    return static_cast<size_t>(std::count(change.remains.begin(), change.remains.end(), false));
}

size_t FindOwner(const SimulatedCatalog& catalog, const SimulatedEntry& entry) {
    const auto found = std::find_if(catalog.begin(), catalog.end(), [&](const SimulatedEntry& lsp) {
        return IsKind(lsp.info, LAYERED_PROTOCOL) && IsLayerOf(entry.info, lsp.info.dwCatalogEntryId);
    });
    return static_cast<size_t>(found - catalog.begin());
}

const SimulatedEntry* FindProvider(const SimulatedCatalog& catalog, const GUID& id) {
    const auto found = std::find_if(catalog.begin(), catalog.end(), [&](const SimulatedEntry& entry) {
        return SameGuid(entry.info.ProviderId, id);
    });
    return found == catalog.end() ? nullptr : &*found;
}

std::string ProductOf(const SimulatedCatalog& catalog, const SimulatedEntry& entry) {
    const size_t owner = FindOwner(catalog, entry);
    const SimulatedEntry& product = owner == catalog.size() ? entry : catalog[owner];
    const std::string file = Shown(NameOfFile(product.path));
    const std::string name = NameOf(product.info);
    return (name.empty() ? "entry " + std::to_string(product.info.dwCatalogEntryId) : name) +
           (file.empty() ? "" : " (" + file + ")");
}

std::set<std::string> RemovedProducts(const MachineChange& change) {
    std::set<std::string> products;
    for (const CatalogChange* catalog : {&change.catalog64, &change.catalog32}) {
        for (size_t i = 0; i < catalog->entries.size(); ++i) {
            if (!catalog->remains[i]) {
                products.insert(ProductOf(catalog->entries, catalog->entries[i]));
            }
        }
    }
    return products;
}

bool HadFile(const CatalogChange& change, const std::wstring& file) {
    const auto found = std::find(change.files.begin(), change.files.end(), file);
    return found == change.files.end() || change.hadFile[static_cast<size_t>(found - change.files.begin())];
}

bool BecomesOrphan(const CatalogChange& change, size_t index) {
    const WSAPROTOCOL_INFOW& entry = change.entries[index].info;
    for (size_t i = 0; i < change.entries.size(); ++i) {
        const WSAPROTOCOL_INFOW& lsp = change.entries[i].info;
        if (change.remains[i] && IsKind(lsp, LAYERED_PROTOCOL) && IsLayerOf(entry, lsp.dwCatalogEntryId)) {
            return false;
        }
    }
    return IsKind(entry, PROTOCOL_CHAIN);
}
