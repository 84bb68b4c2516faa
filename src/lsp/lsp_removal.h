// Removal of one whole layered service provider (LSP) from the Winsock catalogs, with repair of those over
// it.
#pragma once

#include "lsp/provider_catalog.h"

// Removes the LSP that owns a catalog entry: all its layered entries and its hidden entry; or, when the entry
// is an orphan, all orphans. The dependents' chains are repaired first. Needs the private heap and the update
// functions.
//   catalog    handed to every catalog operation
//   catalogId  of the hidden entry or of any layered one
// Returns 0 once the deinstalling began, even if single calls failed; SOCKET_ERROR when it did not come to
// that. Every failure is traced; nothing allocated stays behind.
int RemoveProvider(CatalogSelector catalog, DWORD catalogId);

// Removes the first LSP, in the order of the map, whose DLL has the given file name.
//   dllName      bare file name, compared with its letter case; an empty one matches a path that ends
//                in a backslash, and the orphan record
//   removedPath  at least kDllPathSize characters; receives the DLL's path as the catalog has it, also when
//                the removal fails, and stays untouched when no LSP has the name
// Returns as the form by id does.
int RemoveProvider(CatalogSelector catalog, const wchar_t* dllName, wchar_t* removedPath);
