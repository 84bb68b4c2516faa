// What a removal changes for each entry of the catalogs.
#pragma once

#include <set>
#include <string>

#include "rehearsal/catalog_health.h"

// One catalog. Both records have the entries of the catalog before the removal.
struct CatalogChange {
    CatalogHealth before;
    CatalogHealth after;
};

struct MachineChange {
    CatalogChange catalog64;
    CatalogChange catalog32;
    std::set<std::wstring> deletedFiles; // by the removal, see FileOn
};

// Which entries remain of a catalog. The removal takes entries by their provider ids: an id has all of its
// entries afterwards, or none.
//   after  the catalog afterwards
Flags FindRemaining(const CatalogHealth& before, const Catalog& after);

// What a removal changes.
//   after         the catalogs afterwards
//   deletedFiles  by the removal, see FileOn
MachineChange FindChange(const MachineHealth& before, const Catalogs& after,
                         const std::set<std::wstring>& deletedFiles);

// Whether an entry that programs use remains and stops working. A hidden entry matters through the layered
// entries that name it.
bool StopsWorking(const CatalogChange& change, size_t index);

// Whether an entry remains as a layered one without an LSP.
bool BecomesOrphan(const CatalogChange& change, size_t index);

// How many entries are removed.
size_t CountRemoved(const CatalogChange& change);

// Whether a file was there before, by the entries that have it; a file that no entry has counts as being
// there.
bool HadFile(const CatalogChange& change, const std::wstring& file);
