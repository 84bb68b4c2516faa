// What a removal does, by the definitions and from the catalogs that it left: the expectation for the
// rehearsal. It shares no code with it, but for reading paths.
#pragma once

#include <functional>
#include <set>
#include <string>
#include <vector>

#include "machine/catalog.h"

// One catalog. All lists have one element for each entry that it has before the removal.
struct ModelCatalog {
    bool is32;
    Catalog before;
    std::vector<bool> worked;
    std::vector<bool> remains = {};
    std::vector<bool> stops = {}; // remains, worked, and does not work afterwards
    bool breaks = false;          // whether anything stops, or a base provider that worked is removed
};

// A catalog before a removal, with the files that are on the disk.
ModelCatalog LookBefore(const Catalog& catalog, bool is32);

// Compares with the catalog and the files that a removal left. Entries are recognised by their dwMessageSize.
void LookAfter(const Catalog& after, ModelCatalog& model);

// Whether the removal took another LSP than the one that has the name, or an entry of another one, that
// worked.
//   hiddenId  of the LSP that the trace names; -1 for none
bool LosesAnotherLsp(const ModelCatalog& in64, const ModelCatalog& in32, const std::wstring& dllName,
                     long long hiddenId);

// Whether anything of the product remains that is seen at once: a file of a removed entry that is on the disk
// and that nothing names, or an LSP with the name.
bool LeavesParts(const ModelCatalog& in64, const ModelCatalog& in32, const std::wstring& dllName,
                 const std::string& namespaceFile);

// The DLL names of the LSPs over an LSP, directly or through others, and of the LSP itself; the empty name.
std::set<std::wstring> NamesOver(const Catalogs& catalogs, const GUID& target);
