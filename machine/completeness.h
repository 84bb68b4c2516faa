// What the description of a machine lacks, as far as its entries show it together.
#pragma once

#include "machine/machine.h"

// Adds a gap for each thing that no sound Windows has: two entries of a catalog with one id. In an output of
// netsh, which does not say how many entries there are, this is also a catalog that is missing or has no base
// provider, an id that the catalog lacks, an LSP without a layered entry, and an entry that only one of the
// catalogs has.
void CheckCompleteness(Machine& machine);
