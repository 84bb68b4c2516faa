// Which layered service providers lie over which others.
#pragma once

#include "lsp/lsp_map.h"

// Fills dependentCount and dependents of every record. An LSP stands in the list of another one once for each
// of its layered entries whose chain names the other's hidden id. When none does, it stands there once if a
// chain names one of the other's layered ids. The last one found comes first.
//   lspCount  number of LSP records, the orphan record left out
// Returns 0, or SOCKET_ERROR after a trace line when there is no memory.
int CheckLspDependency(LspEntry* map, int lspCount);
