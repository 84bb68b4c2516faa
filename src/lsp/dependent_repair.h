// Repairs the LSPs that are layered over one that will be removed: their chains must not name ids that will
// be removed with it.
#pragma once

#include "lsp/catalog_snapshot.h"

// Removes the ids of the target from the chains of its dependents, in the copies of the map only, and marks
// the changed entries as edited. Does nothing when there are no dependents.
void FixDependentChains(std::span<LspEntry> map, const LspEntry& target);

// Updates every edited entry of the dependents in the catalog. A failure is traced, and the next entry
// follows.
void UpdateDependents(CatalogSelector catalog, std::span<LspEntry> map, const LspEntry& target);

// Deinstalls all dependents and installs them again with their edited chains, the last of the list first. The
// new ids of each one are stored in the chains of those before it in the list, and in the order of the
// snapshot. Then the order is written, with the ids of the target, even if there are no dependents. The
// failure of a single call is traced, and the work continues. Returns false after a trace line when there is
// no memory; nothing is deinstalled then.
bool ReinstallDependents(CatalogSelector catalog, CatalogSnapshot& snapshot, const LspEntry& target);
