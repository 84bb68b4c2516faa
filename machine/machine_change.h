// What a removal changes for each entry of the catalogs: whether it is removed, and whether it works before
// and afterwards.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "machine/machine.h"
#include "machine/working_entries.h"

// One catalog. All lists have one element for each entry that the catalog has before the removal.
struct CatalogChange {
    bool is32;
    const SimulatedCatalog& entries; // of the machine, which has to outlive this record
    std::vector<std::wstring> files; // as FileOf has them
    Flags hadFile;
    Flags worked;
    IdCounts ids;
    Flags remains;
    Flags hasFile;          // after the removal
    Flags works;            // after the removal
    IdCounts idsAfterwards; // of the entries that remain
};

struct MachineChange {
    CatalogChange catalog64;
    CatalogChange catalog32;
    std::set<std::wstring> deletedFiles; // by the removal, as FileOf has them
};

// What works on a machine as it is: nothing is removed.
MachineChange FindNoChange(const Machine& machine);

// What a removal changes.
//   after         the catalogs afterwards
//   deletedFiles  by the removal, as FileOf has them
MachineChange FindChange(const Machine& machine, const WinsockState& after,
                         const std::set<std::wstring>& deletedFiles);

// Whether an entry that programs use remains and stops working. A hidden entry matters through the layered
// entries that name it.
bool StopsWorking(const CatalogChange& change, size_t index);

// Whether an entry remains and loses an id of its chain.
bool LosesId(const CatalogChange& change, size_t index);

// Whether a removal breaks more than the LSPs that have a DLL name: something that remains stops working or
// loses an id of its chain, a file of a namespace provider is deleted, or a base provider is removed, or
// another LSP of the 64-bit catalog.
//   dllName  in UTF-8
bool HarmsOthers(const Machine& machine, const MachineChange& change, const std::string& dllName);

// How many entries are removed.
size_t CountRemoved(const CatalogChange& change);

// The LSP that an entry belongs to, by the first id of its chain: the hidden entry's index. The number of
// entries for none.
size_t FindOwner(const SimulatedCatalog& catalog, const SimulatedEntry& entry);

// The first entry with a provider id; null for none.
const SimulatedEntry* FindProvider(const SimulatedCatalog& catalog, const GUID& id);

// "Filter (filterlsp.dll)": the LSP of an entry, or the entry itself when it has none.
std::string ProductOf(const SimulatedCatalog& catalog, const SimulatedEntry& entry);

// The products that the removed entries belong to.
std::set<std::string> RemovedProducts(const MachineChange& change);

// Whether a file was there before, by the entries that have it; a file that no entry has counts as being
// there.
bool HadFile(const CatalogChange& change, const std::wstring& file);

// Whether an entry is a layered one that has no LSP afterwards.
bool BecomesOrphan(const CatalogChange& change, size_t index);
