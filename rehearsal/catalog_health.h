// The health of a catalog: which of its entries have their file, and which work.
//
// A program can use an entry when its path can be a file, its file is there and, for a layered entry, when
// each id in its chain leads to another entry of the catalog that works. Entries whose chains lead to one
// another in a circle do not work.
#pragma once

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "machine/machine.h"

using Flags = std::vector<bool>; // one for each entry of a catalog

// What a removal does not change about a catalog. All lists have one element for each entry.
struct CatalogFacts {
    bool is32;
    Catalog entries;
    std::vector<std::wstring> files;    // see FileOn
    std::vector<size_t> owners;         // see FindOwners
    std::map<DWORD, int> ids;           // how many entries have each id
    std::vector<std::set<DWORD>> needs; // the ids that have to work so that the entry can
};

// Whether an entry is a layered one of which the catalog lacks the LSP: no other entry has its first id.
bool IsOrphan(const CatalogFacts& facts, size_t index);

// The hidden entry of the LSP that an entry belongs to, or the entry itself when it belongs to none.
size_t OwnerOrSelf(const CatalogFacts& facts, size_t index);

// A catalog. All lists have one element for each entry.
struct CatalogHealth {
    std::shared_ptr<const CatalogFacts> facts;
    Flags present; // which entries the catalog has; the others were removed
    Flags hasFile;
    Flags works;
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
//   deleted  see FileOn
CatalogHealth Without(CatalogHealth health, const Flags& present, const std::set<std::wstring>& deleted);

// Why an entry does not work: the first reason that applies, those nearest to the cause first.
enum class Fault { kNone, kNoFileName, kMissingFile, kChainLength, kMissingId, kBrokenId };

struct FaultReason {
    Fault fault = Fault::kNone;
    std::vector<DWORD> ids = {}; // those that are missing, or that do not work
    int chainLength = 0;         // of kChainLength
};

// Why an entry of a catalog as it is does not work. The second form leaves out the ids, which take time.
FaultReason FindFault(const CatalogHealth& health, size_t index);
FaultReason FindFaultKind(const CatalogHealth& health, size_t index);

// How many entries that the catalog has do not work.
size_t CountFaults(const CatalogHealth& health);

// Whether the catalog has a base provider. Without one no program can use the network.
bool HasBase(const CatalogHealth& health);
