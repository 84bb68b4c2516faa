#include "lsp/layer_ids.h"

#include <algorithm>

#include "lsp/provider_entries.h"

void RelinkLayerIds(LspEntry* entry, const WSAPROTOCOL_INFOW* providers, int count) {
    for (int k = 0; k < entry->layerCount; ++k) {
        for (int i = 0; i < count; ++i) {
            if (SameProviderEntry(&entry->layers[k], &providers[i])) {
                entry->layers[k].dwProviderReserved = providers[i].dwCatalogEntryId;
                break;
            }
        }
    }
}

void ReplaceChainId(LspEntry* entry, DWORD oldId, DWORD newId) {
    for (int k = 0; k < entry->layerCount; ++k) {
        DWORD* chain = entry->layers[k].ProtocolChain.ChainEntries;
        std::replace(chain, chain + ChainLength(entry->layers[k]), oldId, newId);
    }
}

void RenumberOrder(const LspEntry* entry, DWORD* order, int orderCount) {
    for (int k = 0; k < entry->layerCount; ++k) {
        std::replace(order, order + orderCount, entry->layers[k].dwCatalogEntryId,
                     entry->layers[k].dwProviderReserved);
    }
}
