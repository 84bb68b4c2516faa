// Repairs the LSPs that lie over one that is about to be removed: their chains must not name ids that
// disappear.
#pragma once

#include "lsp/catalog_snapshot.h"

// Takes the target's ids out of the chains of its dependents, in the map's copies only, and marks the entries
// that changed as edited. Does nothing when there are no dependents.
void FixDependentChains(LspEntry* map, const LspEntry& target);

// Updates every edited entry of the dependents in the catalog. Failures are traced and skipped.
void UpdateDependents(CatalogSelector catalog, LspEntry* map, const LspEntry& target);

// Deinstalls all dependents and installs them again with their edited chains, the lowest first. The new ids
// of each go into the chains of those listed before it, and into the snapshot's order. At the end that order,
// the target's ids included, is written, also when there are no dependents. Failures of single calls are
// traced and skipped.
// Returns false, with nothing deinstalled, after a trace line when there is no memory.
bool ReinstallDependents(CatalogSelector catalog, CatalogSnapshot* snapshot, const LspEntry& target);
