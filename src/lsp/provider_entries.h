// Tests and changes of catalog entries and of arrays of entries. Nothing here calls Winsock.
#pragma once

#include <winsock2.h>
#include <windows.h>

#include <algorithm>
#include <span>

// The kinds of entries, by ChainLen. The SDK has names for two: LAYERED_PROTOCOL (0), the hidden entry that
// represents a whole LSP, and BASE_PROTOCOL (1). This is the third: a layered entry, whose first chain
// element is the hidden id of its LSP.
constexpr int PROTOCOL_CHAIN = 2; // or more

// An array with its number of elements; empty when count is below 1.
template <class T> std::span<T> SpanOf(T* first, int count) {
    return {first, static_cast<size_t>(std::max(count, 0))};
}

// Returns whether two GUIDs are equal.
bool SameGuid(const GUID& a, const GUID& b);

// Returns whether the entry is of the given kind.
bool IsKind(const WSAPROTOCOL_INFOW& entry, int kind);

// The number of chain elements that can be read: ChainLen limited to 0 to MAX_PROTOCOL_CHAIN, because a
// catalog can contain any number there.
int ChainLength(const WSAPROTOCOL_INFOW& entry);

// Returns whether the entry is a layered entry of the LSP whose hidden entry has hiddenId.
bool IsLayerOf(const WSAPROTOCOL_INFOW& entry, DWORD hiddenId);

// Counts the entries of a kind; 0 when count is below 1.
int GetProviderCount(const WSAPROTOCOL_INFOW* providers, int count, int kind);

// Returns the first entry with the given ProviderId, in providers; null when there is none.
WSAPROTOCOL_INFOW* ProviderByGuid(const GUID* id, const WSAPROTOCOL_INFOW* providers, int count);

// Returns whether catalogId is in the entry's chain.
bool ChainHasId(const WSAPROTOCOL_INFOW* entry, DWORD catalogId);

// Removes the first catalogId from the chain of the entry and closes the gap. Returns 1, or 0 when the chain
// does not contain it.
int DropChainId(WSAPROTOCOL_INFOW* entry, DWORD catalogId);

// Returns whether two entries describe the same provider. The catalog id, the elements of the chain, the
// provider flags, the reserved field and the name are not compared, so that an entry is found again after a
// reinstall has changed its ids.
bool SameProviderEntry(const WSAPROTOCOL_INFOW* a, const WSAPROTOCOL_INFOW* b);

// Copies the entries with the given provider id to out.
//   outCount  in: the capacity of out; receives the number of entries copied, or the number needed
// Returns 0, or SOCKET_ERROR when the capacity is too small; nothing is copied then. With entryCount below 1
// returns 0 and a number of 0.
int CollectLayersOfGuid(WSAPROTOCOL_INFOW* out, int* outCount, WSAPROTOCOL_INFOW* entries, int entryCount,
                        GUID* guid);
