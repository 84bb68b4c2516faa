// Which layered service providers lie over which others.
#pragma once

#include "lsp/lsp_map.h"

// Fills dependentCount and dependents of every record. An LSP stands in the list once for each of its layered
// entries that names the other's hidden id; only without any, once for naming a layered id. The last found
// comes first.
//   lspCount  number of LSP records, the orphan record left out
// Returns 0, or SOCKET_ERROR after a trace line when there is no memory.
int CheckLspDependency(LspEntry* map, int lspCount);
