// Removes one whole layered service provider (LSP) from the Winsock catalogs, and repairs the LSPs over it.
#pragma once

#include "lsp/provider_catalog.h"

// Removes the LSP that owns a catalog entry: all its layered entries and its hidden entry. If the entry is an
// orphan, removes all orphans. The chains of the dependents are repaired first. Needs the private heap and
// the update functions.
//   catalog    the selector for every catalog operation
//   catalogId  the id of the hidden entry or of a layered entry
// Returns 0 when the deinstallation began, even if single calls failed; otherwise SOCKET_ERROR. Every failure
// is traced. All memory is freed.
int RemoveProvider(CatalogSelector catalog, DWORD catalogId);

// Removes the first LSP, in the order of the map, whose DLL has the given file name.
//   dllName      bare file name, compared case-sensitively; an empty one matches a path that ends with a
//                backslash, and the orphan record
//   removedPath  at least kDllPathSize characters; receives the path of the DLL as in the catalog, even if
//                the removal fails; remains unchanged when no LSP has the name
// Returns the result of the form by id; SOCKET_ERROR when no LSP has the name.
int RemoveProvider(CatalogSelector catalog, const wchar_t* dllName, wchar_t* removedPath);
