// Finds out which layered service providers are layered over which others.
#pragma once

#include "lsp/lsp_entry.h"

// Fills dependentCount and dependents of every record. An LSP is in the list of another one once for each of
// its layered entries whose chain names the hidden id of the other. If there is none, it is in the list once
// if one of its chains names a layered id of the other. The last one found is the first in the list.
//   lspCount  the number of LSP records, without the orphan record
// Returns 0, or SOCKET_ERROR after a trace line when there is no memory.
int CheckLspDependency(LspEntry* map, int lspCount);
