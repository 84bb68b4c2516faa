// Draws what a removal changes, a line for each entry: "-" for a removed one, "!" for one that stops working.
#pragma once

#include <string>

#include "rehearsal/catalog_change.h"

// The entries that change, in UTF-8, with headings. What changes alike in both catalogs is drawn once.
std::string DrawAllChanges(const MachineChange& change);

// Both catalogs of a machine as it is. An entry that does not work has "!" before it, and the reason below
// it.
std::string DrawDefects(const MachineHealth& health);
