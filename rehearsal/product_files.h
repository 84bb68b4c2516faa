// The files of a removed product, by which its other parts are recognised.
#pragma once

#include <set>
#include <string>

#include "rehearsal/catalog_change.h"

struct ProductFiles {
    std::set<std::wstring> removed; // of the removed entries, as FileOf has them
    std::set<std::wstring> folders; // of these files
    std::set<std::wstring> names;   // of these files, see PlainName
    std::set<std::wstring> named;   // of the entries and namespace providers that remain
};

// Collects the files of both catalogs.
ProductFiles CollectFiles(const Machine& machine, const MachineChange& change);

// Whether an entry is an LSP that only the 32-bit catalog has, and that looks like the 32-bit part of the
// product: its file has the same name but for 32, 64 or 86, or it is in the same folder, unless that belongs
// to many products.
bool IsOnly32BitPart(const MachineChange& change, const CatalogChange& catalog, size_t index,
                     const ProductFiles& files, const Folders& folders);
