// The health of a catalog: which of its entries have their file, and which work.
//
// A program can use an entry when its file is there and, for a layered entry, when each id in its chain leads
// to another entry of the catalog that works. Entries whose chains lead to one another in a circle do not
// work.
#pragma once

#include <compare>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "machine/machine.h"

using Flags = std::vector<bool>;       // one for each entry of a catalog
using IdCounts = std::map<DWORD, int>; // how many entries have each id

// A catalog. All lists have one element for each entry.
struct CatalogHealth {
    bool is32;
    Catalog entries;
    std::vector<std::wstring> files; // as FileOf has them
    std::vector<size_t> owners;      // see FindOwners
    Flags present;                   // which entries the catalog has; the others were removed
    Flags hasFile;
    Flags works;
    IdCounts ids; // of the present entries
};

// Both catalogs of a machine.
struct MachineHealth {
    CatalogHealth catalog64;
    CatalogHealth catalog32;
};

// Examines the catalogs of a machine as it is. Looks at the disk when the machine is the one that this runs
// on.
MachineHealth Examine(const Machine& machine);

// The health of a catalog once entries are removed and files are deleted.
//   present  which entries remain
//   deleted  as FileOf has them
CatalogHealth Without(CatalogHealth health, const Flags& present, const std::set<std::wstring>& deleted);

// Why an entry does not work: the first reason that applies.
enum class Fault { kNone, kMissingFile, kChainLength, kMissingId, kBrokenId };

struct FaultReason {
    Fault fault = Fault::kNone;
    std::vector<DWORD> ids = {}; // those that are missing, or that do not work
    int chainLength = 0;         // of kChainLength

    auto operator<=>(const FaultReason&) const = default;
};

FaultReason FindFault(const CatalogHealth& health, size_t index);

// The ids in the chain of an entry that no other present entry has, and 0, which is no id; each once.
std::vector<DWORD> FindMissingIds(const CatalogHealth& health, size_t index);

// How many entries that the catalog has do not work.
size_t CountFaults(const CatalogHealth& health);
