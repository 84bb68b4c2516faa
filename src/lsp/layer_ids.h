// The catalog ids of an LSP's layered entries, after a reinstall has given them new ones.
#pragma once

#include "lsp/lsp_map.h"

// Finds each layered entry of the record among providers (see SameProviderEntry) and stores the catalog id
// found there in the entry's dwProviderReserved. An entry that is not found keeps its dwProviderReserved,
// mostly 0, and later steps take that value for its new id.
void RelinkLayerIds(LspEntry* entry, const WSAPROTOCOL_INFOW* providers, int count);

// Replaces oldId by newId in the chains of the record's layered entries.
void ReplaceChainId(LspEntry* entry, DWORD oldId, DWORD newId);

// Replaces in order the old ids of the record's layered entries by those that RelinkLayerIds stored.
void RenumberOrder(const LspEntry* entry, DWORD* order, int orderCount);
