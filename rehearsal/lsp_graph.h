// Which LSPs lie over which others, in both catalogs together.
#pragma once

#include <map>

#include "machine/catalog.h"

using LspGraph =
    std::map<GUID, GuidSet, GuidOrder>; // for each LSP, by its provider id, those that it lies over

LspGraph GraphOf(const Catalogs& catalogs);

// The LSPs that lie over one, directly or through others.
GuidSet FindAbove(const LspGraph& graph, const GUID& target);

// The first of the LSPs that no other one lies over; null when there is none.
const GUID* FindTop(const GuidSet& lsps, const LspGraph& graph);

// The hidden entry of an LSP; null when the catalog does not have it.
const CatalogEntry* FindLsp(const Catalog& catalog, const GUID& id);
