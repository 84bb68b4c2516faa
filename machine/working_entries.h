// Which entries of a catalog work.
//
// A program can use an entry when its file is there and, for a layered entry, when each id in its chain leads
// to another entry of the catalog that works. Entries whose chains lead to one another in a circle do not
// work.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "machine/winsock_state.h"

using Flags = std::vector<bool>; // one for each entry of a catalog

// Returns which entries work.
//   present  which entries the catalog has: the others are passed over, as if they were removed
//   hasFile  which entries have their file
Flags FindWorking(const SimulatedCatalog& catalog, const Flags& present, const Flags& hasFile);

using IdCounts = std::map<DWORD, int>; // how many entries have each id

// Counts the ids of the present entries.
IdCounts CountIds(const SimulatedCatalog& catalog, const Flags& present);

// The ids in the chain of a present entry that no other present entry has, and 0, which is no id.
std::vector<DWORD> FindMissingIds(const SimulatedEntry& entry, const IdCounts& present);

// Why a present entry does not work, as the end of a sentence: "it names the missing id 1011". Empty for one
// that works.
std::string WhyNotWorking(const SimulatedCatalog& catalog, size_t index, const IdCounts& present,
                          const Flags& hasFile, const Flags& working);
