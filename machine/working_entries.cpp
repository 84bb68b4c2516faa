#include "machine/working_entries.h"

#include <algorithm>
#include <set>
#include <span>

#include "lsp/provider_entries.h"
#include "machine/entry_names.h"

namespace {

bool HasValidLength(const SimulatedEntry& entry) {
    return entry.info.ProtocolChain.ChainLen == ChainLength(entry.info);
}

// The ids in the chain. An entry with an invalid length is not a layered one, and has none.
std::span<const DWORD> ChainOf(const SimulatedEntry& entry) {
    const size_t length = HasValidLength(entry) ? static_cast<size_t>(ChainLength(entry.info)) : 0;
    return {entry.info.ProtocolChain.ChainEntries, length};
}

// Whether an entry needs no other one.
bool StandsAlone(const SimulatedEntry& entry) {
    return !IsKind(entry.info, PROTOCOL_CHAIN);
}

std::string Listed(const std::vector<DWORD>& ids) {
    std::string text;
    for (const DWORD id : ids) {
        text += (text.empty() ? "" : ", ") + std::to_string(id);
    }
    return text;
}

} // namespace

Flags FindWorking(const SimulatedCatalog& catalog, const Flags& present, const Flags& hasFile) {
    Flags working(catalog.size());
    std::set<DWORD> workingIds;
    for (bool changed = true; changed;) {
        changed = false;
        for (size_t i = 0; i < catalog.size(); ++i) {
            const SimulatedEntry& entry = catalog[i];
            if (working[i] || !present[i] || !hasFile[i] || !HasValidLength(entry)) {
                continue;
            }
            const auto chain = ChainOf(entry);
            // The entry itself is not among the working ones yet, so an id that only it has does not count.
            if (StandsAlone(entry) || std::all_of(chain.begin(), chain.end(), [&](DWORD id) {
                    return id != 0 && workingIds.contains(id);
                })) {
                working[i] = true;
                changed = true;
                workingIds.insert(entry.info.dwCatalogEntryId);
            }
        }
    }
    return working;
}

IdCounts CountIds(const SimulatedCatalog& catalog, const Flags& present) {
    IdCounts counts;
    for (size_t i = 0; i < catalog.size(); ++i) {
        counts[catalog[i].info.dwCatalogEntryId] += present[i] ? 1 : 0;
    }
    return counts;
}

std::vector<DWORD> FindMissingIds(const SimulatedEntry& entry, const IdCounts& present) {
    std::vector<DWORD> missing;
    for (const DWORD id : ChainOf(entry)) {
        const auto found = present.find(id);
        const int others =
            (found == present.end() ? 0 : found->second) - (id == entry.info.dwCatalogEntryId ? 1 : 0);
        if ((id == 0 || others < 1) && std::find(missing.begin(), missing.end(), id) == missing.end()) {
            missing.push_back(id);
        }
    }
    return missing;
}

std::string WhyNotWorking(const SimulatedCatalog& catalog, size_t index, const IdCounts& present,
                          const Flags& hasFile, const Flags& working) {
    const SimulatedEntry& entry = catalog[index];
    if (working[index]) {
        return "";
    }
    if (!hasFile[index]) {
        return "its file is missing";
    }
    if (!HasValidLength(entry)) {
        return "its chain length is " + std::to_string(entry.info.ProtocolChain.ChainLen);
    }
    const std::vector<DWORD> missing = FindMissingIds(entry, present);
    if (!missing.empty()) {
        return "it names the missing id " + Listed(missing);
    }
    std::vector<DWORD> broken;
    for (size_t i = 0; i < catalog.size(); ++i) {
        if (!working[i] && ChainHasId(&entry.info, catalog[i].info.dwCatalogEntryId)) {
            broken.push_back(catalog[i].info.dwCatalogEntryId);
        }
    }
    return "it names " + Listed(broken) + ", which does not work";
}
