// One record of the map of the installed layered service providers (LSPs).
#pragma once

#include <winsock2.h>
#include <windows.h>

#include <span>

constexpr int kDllPathSize = MAX_PATH; // characters of a provider path, with its terminator

struct LspEntry {
    wchar_t dllPath[kDllPathSize]; // as in the catalog, not expanded; empty in the orphan record
    WSAPROTOCOL_INFOW hiddenEntry; // zero in the orphan record
    int isOrphanSet;
    WSAPROTOCOL_INFOW*
        layers; // copies of the layered entries; after relinking dwProviderReserved is the new id
    int layerCount;
    int* layerEdited; // a flag for each of the layers; null in the orphan record and in one not filled
    GUID* layerGuids; // distinct provider ids of layers, in the order of first appearance
    int layerGuidCount;
    int maxChainLen;
    int depth; // chain position of the first base provider: 1 to 6, 7 without one, 0 while not known
    int dependentCount;
    int* dependents; // map indices of the LSPs over this one; an index can occur several times

    std::span<WSAPROTOCOL_INFOW> Layers() const { return {layers, static_cast<size_t>(layerCount)}; }
    std::span<GUID> LayerGuids() const { return {layerGuids, static_cast<size_t>(layerGuidCount)}; }
    std::span<const int> Dependents() const { return {dependents, static_cast<size_t>(dependentCount)}; }
};
