// Repairs the LSPs that lie over one that is about to be removed: their chains must not name ids that
// disappear.
#pragma once

#include "lsp/catalog_snapshot.h"

// Takes the target's ids out of the chains of its dependents, in the map's copies only, and marks the entries
// that changed as edited. Does nothing when there are no dependents.
void FixDependentChains(LspEntry* map, const LspEntry& target);

// Updates every edited entry of the dependents in the catalog. Failures are traced and skipped.
//   error  in/out: the error value that failure messages show
void UpdateDependents(CatalogSelector catalog, LspEntry* map, const LspEntry& target, int* error);

// Deinstalls the dependents, installs them again with their edited chains, carries the new catalog ids over
// to the dependents below them and to the snapshot's order, and writes that order. It still holds the
// target's ids. Failures of single calls are traced and skipped.
//   scratch  room for the largest layerCount of the map
void ReinstallDependents(CatalogSelector catalog, CatalogSnapshot* snapshot, const LspEntry& target,
                         WSAPROTOCOL_INFOW* scratch);
