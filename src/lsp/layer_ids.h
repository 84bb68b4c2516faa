// The catalog ids of the layered entries of an LSP, which a reinstall changes.
#pragma once

#include "lsp/lsp_map.h"

// Finds each layered entry of the record among providers (see SameProviderEntry) and stores its catalog id
// there in the dwProviderReserved of the entry. The dwProviderReserved of an entry that is not found remains
// unchanged, usually 0, and later steps use it as the new id. Kept, see docs/kept-behaviour.md.
void RelinkLayerIds(LspEntry* entry, const WSAPROTOCOL_INFOW* providers, int count);

// Replaces oldId by newId in the chains of the layered entries of the record.
void ReplaceChainId(LspEntry* entry, DWORD oldId, DWORD newId);

// Replaces the old ids of the layered entries of the record, in order, by those that RelinkLayerIds stored.
void RenumberOrder(const LspEntry* entry, DWORD* order, int orderCount);
