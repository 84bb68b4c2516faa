// The map of the installed layered service providers (LSPs), built from one enumerated catalog.
//
// A hidden entry represents a whole LSP. The first id in the chain of a layered entry is that of the hidden
// entry of its LSP. Layered entries whose LSP is missing are orphans and share one record, the last of the
// map.
#pragma once

#include "lsp/lsp_entry.h"

// Builds the map and marks (dwProviderReserved = 1) each layered entry in providers that belongs to an LSP.
// LSPs are sorted by depth, and within a depth partly by chain length.
//   lspCount  receives the length of the map; may be null
// Returns the map, which the caller frees with ReleaseLspMap. Returns null when there is nothing to map, and
// when there is no memory for the map itself or for the dependents. Every other failure is traced and ends
// the build; the map is then returned with its full planned length, although it is only partly filled.
LspEntry* BuildLspMap(WSAPROTOCOL_INFOW* providers, int providerCount, int* lspCount);

// Frees the arrays of the records and the map.
void ReleaseLspMap(LspEntry* map, int lspCount);

// Adds a provider id to the layerGuids of the record, unless they contain it.
//   error  receives WSAENOBUFS on failure
// Returns 0, or SOCKET_ERROR after a trace line.
int AddGuidToLspEntry(LspEntry* entry, GUID* guid, int* error);

// Counts the layered entries whose first chain element is the id of no other entry.
int CountOrphanedEntries(const WSAPROTOCOL_INFOW* providers, int count);

// The largest layerCount of the map; 0 for an empty one.
int LargestLayerCount(const LspEntry* map, int lspCount);
