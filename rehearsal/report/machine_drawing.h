// Draws the catalogs of a machine as it is, a line for each entry.
#pragma once

#include <string>

#include "rehearsal/catalog_health.h"

// Both catalogs of a machine as it is. An entry that does not work has "!" before it, and the reason below
// it.
//   full  draws base providers that work, too, and shortens nothing
std::string DrawMachine(const MachineHealth& health, bool full);
