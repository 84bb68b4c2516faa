#include "lsp/provider_entries.h"

#include <algorithm>
#include <cstring>

bool SameGuid(const GUID& a, const GUID& b) {
    return std::memcmp(&a, &b, sizeof(GUID)) == 0;
}

bool IsKind(const WSAPROTOCOL_INFOW& entry, int kind) {
    const int length = entry.ProtocolChain.ChainLen;
    return kind == PROTOCOL_CHAIN ? length >= PROTOCOL_CHAIN : length == kind;
}

int ChainLength(const WSAPROTOCOL_INFOW& entry) {
    return std::clamp(entry.ProtocolChain.ChainLen, 0, MAX_PROTOCOL_CHAIN);
}

bool IsLayerOf(const WSAPROTOCOL_INFOW& entry, DWORD hiddenId) {
    return IsKind(entry, PROTOCOL_CHAIN) && entry.ProtocolChain.ChainEntries[0] == hiddenId;
}

int GetProviderCount(const WSAPROTOCOL_INFOW* providers, int count, int kind) {
    const auto isKind = [kind](const WSAPROTOCOL_INFOW& entry) { return IsKind(entry, kind); };
    return static_cast<int>(std::ranges::count_if(SpanOf(providers, count), isKind));
}

WSAPROTOCOL_INFOW* ProviderByGuid(const GUID* id, const WSAPROTOCOL_INFOW* providers, int count) {
    for (const WSAPROTOCOL_INFOW& provider : SpanOf(providers, count)) {
        if (SameGuid(provider.ProviderId, *id)) {
            return const_cast<WSAPROTOCOL_INFOW*>(&provider);
        }
    }
    return nullptr;
}

bool ChainHasId(const WSAPROTOCOL_INFOW* entry, DWORD catalogId) {
    const DWORD* chain = entry->ProtocolChain.ChainEntries;
    const DWORD* end = chain + ChainLength(*entry);
    return std::find(chain, end, catalogId) != end;
}

int DropChainId(WSAPROTOCOL_INFOW* entry, DWORD catalogId) {
    const int length = ChainLength(*entry);
    DWORD* chain = entry->ProtocolChain.ChainEntries;
    DWORD* found = std::find(chain, chain + length, catalogId);
    if (found == chain + length) {
        return 0;
    }
    std::copy(found + 1, chain + length, found);
    entry->ProtocolChain.ChainLen = length - 1;
    return 1;
}

bool SameProviderEntry(const WSAPROTOCOL_INFOW* a, const WSAPROTOCOL_INFOW* b) {
    return SameGuid(a->ProviderId, b->ProviderId) && a->dwServiceFlags1 == b->dwServiceFlags1 &&
           a->dwServiceFlags2 == b->dwServiceFlags2 && a->dwServiceFlags3 == b->dwServiceFlags3 &&
           a->dwServiceFlags4 == b->dwServiceFlags4 &&
           a->ProtocolChain.ChainLen == b->ProtocolChain.ChainLen && a->iVersion == b->iVersion &&
           a->iAddressFamily == b->iAddressFamily && a->iMaxSockAddr == b->iMaxSockAddr &&
           a->iMinSockAddr == b->iMinSockAddr && a->iSocketType == b->iSocketType &&
           a->iProtocol == b->iProtocol && a->iProtocolMaxOffset == b->iProtocolMaxOffset &&
           a->iNetworkByteOrder == b->iNetworkByteOrder && a->iSecurityScheme == b->iSecurityScheme &&
           a->dwMessageSize == b->dwMessageSize;
}

int CollectLayersOfGuid(WSAPROTOCOL_INFOW* out, int* outCount, WSAPROTOCOL_INFOW* entries, int entryCount,
                        GUID* guid) {
    if (entryCount < 1) {
        *outCount = 0;
        return 0;
    }
    const auto matches = [guid](const WSAPROTOCOL_INFOW& entry) { return SameGuid(entry.ProviderId, *guid); };
    const std::span<const WSAPROTOCOL_INFOW> all = SpanOf(entries, entryCount);
    const int found = static_cast<int>(std::ranges::count_if(all, matches));
    const bool fits = found <= *outCount;
    *outCount = found;
    if (!fits) {
        return SOCKET_ERROR;
    }
    std::ranges::copy_if(all, out, matches);
    return 0;
}
