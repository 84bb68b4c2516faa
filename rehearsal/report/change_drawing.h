// Draws what a removal changes, a line for each entry: "-" for a removed one, "!" for one that stops working.
#pragma once

#include <string>

#include "rehearsal/catalog_change.h"

// The entries that change, in UTF-8, below one heading. What changes alike in both catalogs is drawn once.
std::string DrawAllChanges(const MachineChange& change);
