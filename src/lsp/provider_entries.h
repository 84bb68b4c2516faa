// Questions about, and edits of, single catalog entries and arrays of them. Nothing here calls Winsock.
#pragma once

#include <winsock2.h>
#include <windows.h>

// The kinds of entry, by ChainLen. The SDK has names for two: LAYERED_PROTOCOL (0), the hidden entry that
// stands for a whole LSP, and BASE_PROTOCOL (1). This is the third: a layered entry, whose first chain
// element is the hidden id of its LSP.
constexpr int PROTOCOL_CHAIN = 2; // or more

// Whether two GUIDs are equal.
bool SameGuid(const GUID& a, const GUID& b);

// Whether the entry is of the given kind.
bool IsKind(const WSAPROTOCOL_INFOW& entry, int kind);

// The number of chain elements that may be read: ChainLen, kept within 0 to MAX_PROTOCOL_CHAIN, because
// the catalog may hold any number there.
int ChainLength(const WSAPROTOCOL_INFOW& entry);

// Whether the entry is a layered protocol entry of the LSP whose hidden entry has hiddenId.
bool IsLayerOf(const WSAPROTOCOL_INFOW& entry, DWORD hiddenId);

// Counts the entries of a kind; 0 when count is below 1.
int GetProviderCount(const WSAPROTOCOL_INFOW* providers, int count, int kind);

// The first entry with the given ProviderId, or null. Points into providers.
WSAPROTOCOL_INFOW* ProviderByGuid(const GUID* id, const WSAPROTOCOL_INFOW* providers, int count);

// Whether catalogId is in the entry's chain.
bool ChainHasId(const WSAPROTOCOL_INFOW* entry, DWORD catalogId);

// Takes the first catalogId out of the entry's chain and closes the gap. Returns 1, or 0 when it is not
// there.
int DropChainId(WSAPROTOCOL_INFOW* entry, DWORD catalogId);

// Whether two entries describe the same provider. The catalog id, the chain's elements, the provider flags,
// the reserved field and the name are left out, so that an entry is found again after a reinstall renumbered
// it.
bool SameProviderEntry(const WSAPROTOCOL_INFOW* a, const WSAPROTOCOL_INFOW* b);

// Copies the entries with the given provider id to out.
//   outCount  in: room in out; receives the number copied, or the number needed when the room is too small
// Returns 0, or SOCKET_ERROR when nothing was copied because of the room.
int CollectLayersOfGuid(WSAPROTOCOL_INFOW* out, int* outCount, WSAPROTOCOL_INFOW* entries, int entryCount,
                        GUID* guid);
