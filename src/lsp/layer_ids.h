// The catalog ids of an LSP's layered entries, after a reinstall has given them new ones.
#pragma once

#include "lsp/lsp_map.h"

// Finds each layered entry of the record among providers (see SameProviderEntry) and stores the id that it
// has there in its dwProviderReserved. An entry that is not found keeps what it has there,
// mostly 0, and later steps take that for its id.
void RelinkLayerIds(LspEntry* entry, const WSAPROTOCOL_INFOW* providers, int count);

// Replaces oldId by newId in the chains of the record's layered entries.
void ReplaceChainId(LspEntry* entry, DWORD oldId, DWORD newId);

// Replaces in order the old ids of the record's layered entries by those that RelinkLayerIds stored.
void RenumberOrder(const LspEntry* entry, DWORD* order, int orderCount);
