// The map of the installed layered service providers (LSPs), built from one enumerated catalog.
//
// A hidden entry stands for a whole LSP; a layered entry names its LSP's hidden id first in its chain.
// Layered entries whose LSP is gone are orphans and share one record, the map's last.
#pragma once

#include <winsock2.h>
#include <windows.h>

constexpr int kDllPathSize = 260; // characters of a provider path, with its terminator

struct LspEntry {
    wchar_t dllPath[kDllPathSize]; // as the catalog has it, unexpanded; empty in the orphan record
    WSAPROTOCOL_INFOW hiddenEntry; // zero in the orphan record
    int isOrphanSet;
    WSAPROTOCOL_INFOW*
        layers; // copies of the layered entries; once relinked, dwProviderReserved is the new id
    int layerCount;
    int* layerEdited; // one flag for each of layers; null in an orphan or unfilled record
    GUID* layerGuids; // distinct provider ids of layers, in the order of first appearance
    int layerGuidCount;
    int maxChainLen;
    int depth; // chain position of the first base provider: 1 to 6, 7 without one, 0 while not known
    int dependentCount;
    int* dependents; // map indices of the LSPs over this one; one index can stand there several times
};

// Builds the map and marks (dwProviderReserved = 1) each layered entry in providers that belongs to an LSP.
// LSPs are sorted by depth, then loosely by chain length.
//   lspCount  receives the length of the map; may be null
// Returns the map, which the caller frees with ReleaseLspMap; null when there is nothing to map, when there
// is no memory for the map itself or for the dependents. Another failure is traced and ends the building: the
// map as far as it was filled is returned, with its full planned length.
LspEntry* BuildLspMap(WSAPROTOCOL_INFOW* providers, int providerCount, int* lspCount);

// Frees the records' arrays and the map.
void ReleaseLspMap(LspEntry* map, int lspCount);

// Adds a provider id to the record's layerGuids, unless it is there already.
//   error  receives WSAENOBUFS on failure
// Returns 0, or SOCKET_ERROR after a trace line.
int AddGuidToLspEntry(LspEntry* entry, GUID* guid, int* error);

// Counts the layered entries whose first chain element is the id of no other entry.
int CountOrphanedEntries(const WSAPROTOCOL_INFOW* providers, int count);

// The largest layerCount of the map; 0 for an empty one.
int LargestLayerCount(const LspEntry* map, int lspCount);
