#include "lsp/layer_ids.h"

#include <algorithm>

#include "lsp/provider_entries.h"

void RelinkLayerIds(LspEntry* entry, const WSAPROTOCOL_INFOW* providers, int count) {
    const WSAPROTOCOL_INFOW* const end = providers + count;
    for (WSAPROTOCOL_INFOW& layer : entry->Layers()) {
        const WSAPROTOCOL_INFOW* const found =
            std::find_if(providers, end, [&](const WSAPROTOCOL_INFOW& provider) {
                return SameProviderEntry(&layer, &provider);
            });
        if (found != end) {
            layer.dwProviderReserved = found->dwCatalogEntryId;
        }
    }
}

void ReplaceChainId(LspEntry* entry, DWORD oldId, DWORD newId) {
    for (WSAPROTOCOL_INFOW& layer : entry->Layers()) {
        DWORD* chain = layer.ProtocolChain.ChainEntries;
        std::replace(chain, chain + ChainLength(layer), oldId, newId);
    }
}

void RenumberOrder(const LspEntry* entry, DWORD* order, int orderCount) {
    for (const WSAPROTOCOL_INFOW& layer : entry->Layers()) {
        std::replace(order, order + orderCount, layer.dwCatalogEntryId, layer.dwProviderReserved);
    }
}
