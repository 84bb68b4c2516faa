#include "rehearsal/catalog_health.h"

#include <windows.h>

#include <algorithm>
#include <span>
#include <utility>

#include "lsp/provider_entries.h"

namespace {

// Only these errors mean that a file is missing. A path that is not rooted has a reference to an unknown
// folder, and is taken to be found.
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

// The ids in the chain of a layered entry, up to its length; none for the others.
std::set<DWORD> NeedsOf(const CatalogEntry& entry) {
    const size_t length = IsLayered(entry) ? static_cast<size_t>(ChainLength(entry.info)) : 0;
    const std::span<const DWORD> ids(entry.info.ProtocolChain.ChainEntries, length);
    return {ids.begin(), ids.end()};
}

std::shared_ptr<const CatalogFacts> FactsOf(const Machine& machine, bool is32) {
    CatalogFacts facts = {is32, is32 ? machine.catalogs.catalog32 : machine.catalogs.catalog64, {}, {}, {},
                          {}};
    facts.owners = FindOwners(facts.entries);
    for (const CatalogEntry& entry : facts.entries) {
        facts.files.push_back(FileOn(machine, entry.path, is32));
        facts.needs.push_back(NeedsOf(entry));
        ++facts.ids[entry.info.dwCatalogEntryId];
    }
    return std::make_shared<const CatalogFacts>(std::move(facts));
}

// What the entries that work are found with.
struct Proof {
    CatalogHealth& health;
    std::map<DWORD, std::vector<size_t>> waiting =
        {};                           // for an id that does not work yet, the entries that need it
    std::vector<size_t> missing = {}; // for each entry, how many of its needs do not work yet
    std::vector<size_t> proven = {};  // entries that work, whose id is not passed on yet
};

// Collects what each entry waits for. An id that the entry alone has never works for it, because the entry
// itself does not work before.
void BeginProof(Proof& proof) {
    const CatalogHealth& health = proof.health;
    for (size_t i = 0; i < health.present.size(); ++i) {
        const CatalogFacts& facts = *health.facts;
        proof.missing.push_back(facts.needs[i].size() + (facts.needs[i].contains(0) ? 1 : 0)); // 0 is no id
        if (!health.present[i] || !health.hasFile[i] || !HasValidLength(facts.entries[i])) {
            continue;
        }
        for (const DWORD id : facts.needs[i]) {
            proof.waiting[id].push_back(i);
        }
        if (proof.missing[i] == 0) {
            proof.proven.push_back(i);
        }
    }
}

void FindWorking(CatalogHealth& health) {
    Proof proof = {health};
    health.works.assign(health.present.size(), false);
    BeginProof(proof);
    while (!proof.proven.empty()) {
        const size_t works = proof.proven.back();
        proof.proven.pop_back();
        health.works[works] = true;
        // The second entry with an id frees no entry.
        const auto waiting = proof.waiting.extract(health.facts->entries[works].info.dwCatalogEntryId);
        for (const size_t i : waiting.empty() ? std::vector<size_t>() : waiting.mapped()) {
            if (--proof.missing[i] == 0) {
                proof.proven.push_back(i);
            }
        }
    }
}

CatalogHealth ExamineCatalog(const Machine& machine, bool is32) {
    CatalogHealth health = {FactsOf(machine, is32), {}, {}, {}};
    health.present.assign(health.facts->entries.size(), true);
    for (size_t i = 0; i < health.present.size(); ++i) {
        const std::wstring& file = health.facts->files[i];
        health.hasFile.push_back(CanBeFile(health.facts->entries[i].path) &&
                                 !machine.deletedFiles.contains(file) && (!machine.live || Exists(file)));
    }
    FindWorking(health);
    return health;
}

// The ids in the chain of an entry that no other entry has, and 0, which is no id.
std::vector<DWORD> FindMissingIds(const CatalogFacts& facts, size_t index) {
    std::vector<DWORD> missing;
    for (const DWORD id : facts.needs[index]) {
        const auto found = facts.ids.find(id);
        const bool itself = id == facts.entries[index].info.dwCatalogEntryId;
        if (id == 0 || found == facts.ids.end() || found->second < (itself ? 2 : 1)) {
            missing.push_back(id);
        }
    }
    return missing;
}

// The ids in the chain of an entry of which no entry works.
std::vector<DWORD> FindBrokenIds(const CatalogHealth& health, size_t index) {
    std::set<DWORD> broken = health.facts->needs[index];
    for (size_t i = 0; i < health.works.size(); ++i) {
        if (health.works[i]) {
            broken.erase(health.facts->entries[i].info.dwCatalogEntryId);
        }
    }
    return {broken.begin(), broken.end()};
}

} // namespace

bool IsOrphan(const CatalogFacts& facts, size_t index) {
    const CatalogEntry& entry = facts.entries[index];
    const DWORD first = entry.info.ProtocolChain.ChainEntries[0];
    const auto found = facts.ids.find(first);
    return IsLayered(entry) &&
           (found == facts.ids.end() || found->second == (first == entry.info.dwCatalogEntryId ? 1 : 0));
}

size_t OwnerOrSelf(const CatalogFacts& facts, size_t index) {
    return facts.owners[index] == kNoOwner ? index : facts.owners[index];
}

MachineHealth Examine(const Machine& machine) {
    return {ExamineCatalog(machine, false), ExamineCatalog(machine, true)};
}

CatalogHealth Without(CatalogHealth health, const Flags& present, const std::set<std::wstring>& deleted) {
    health.present = present;
    for (size_t i = 0; i < present.size() && !deleted.empty(); ++i) {
        health.hasFile[i] = health.hasFile[i] && !deleted.contains(health.facts->files[i]);
    }
    FindWorking(health);
    return health;
}

FaultReason FindFaultKind(const CatalogHealth& health, size_t index) {
    const CatalogEntry& entry = health.facts->entries[index];
    if (health.works[index]) {
        return {};
    }
    if (!health.hasFile[index]) {
        return {CanBeFile(entry.path) ? Fault::kMissingFile : Fault::kNoFileName};
    }
    if (!HasValidLength(entry)) {
        return {Fault::kChainLength, {}, entry.info.ProtocolChain.ChainLen};
    }
    return {FindMissingIds(*health.facts, index).empty() ? Fault::kBrokenId : Fault::kMissingId};
}

FaultReason FindFault(const CatalogHealth& health, size_t index) {
    FaultReason reason = FindFaultKind(health, index);
    if (reason.fault == Fault::kMissingId) {
        reason.ids = FindMissingIds(*health.facts, index);
    } else if (reason.fault == Fault::kBrokenId) {
        reason.ids = FindBrokenIds(health, index);
    }
    return reason;
}

size_t CountFaults(const CatalogHealth& health) {
    size_t faults = 0;
    for (size_t i = 0; i < health.present.size(); ++i) {
        faults += health.present[i] && !health.works[i] ? 1u : 0u;
    }
    return faults;
}

bool HasBase(const CatalogHealth& health) {
    return std::ranges::any_of(health.facts->entries, IsBase);
}
