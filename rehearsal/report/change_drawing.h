// Draws what a removal changes, a line for each entry: "-" for a removed one, "!" for one that stops working.
#pragma once

#include <string>

#include "rehearsal/catalog_change.h"

// The entries that change, in UTF-8, below one heading. What changes alike in both catalogs is drawn once.
std::string DrawAllChanges(const MachineChange& change);

// Both catalogs of a machine as it is. An entry that does not work has "!" before it, and the reason below
// it.
//   full  draws base providers that work, too, and shortens nothing
std::string DrawMachine(const MachineHealth& health, bool full);
