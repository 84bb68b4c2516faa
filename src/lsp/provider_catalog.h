// The operations on the Winsock catalogs. A selector chooses the catalog.
//
// Unless noted otherwise, a function returns 0 or SOCKET_ERROR, and traces a failure with its Winsock error.
#pragma once

#include <winsock2.h>
#include <windows.h>

// Selects the catalog of an operation. Each operation interprets the selector in its own way, and the removal
// relies on the differences:
//                               CatalogBoth      Catalog32   Catalog64   another value
//   EnumerateProviders          64-bit           32-bit      64-bit      64-bit
//   EnumerateProvidersExisting  nothing          32-bit      64-bit      nothing
//   InstallProvider             both             refused     64-bit      both
//   DeinstallProvider           64-bit, 32-bit   32-bit      64-bit      32-bit
//   UpdateProvider              fails            32-bit      64-bit      fails
//   WriteProviderOrder          nothing          32-bit      64-bit      nothing
using CatalogSelector = int;
constexpr CatalogSelector CatalogBoth = 0;
constexpr CatalogSelector Catalog32 = 1;
constexpr CatalogSelector Catalog64 = 2;

// Reads a catalog with two calls, one for its size and one for its entries; fails when the catalog grows
// between them. Writes no trace line.
//   count  receives the number of entries, 0 on failure; null is a failure
// Returns an array from the private heap, which the caller frees with LspFree; every szProtocol in it is
// terminated. Returns null on failure.
WSAPROTOCOL_INFOW* EnumerateProviders(CatalogSelector catalog, int* count);

// Reads a catalog into a buffer of the caller. Writes no trace line.
//   bufferLength  in/out, bytes
// Returns the number of entries, 0 when the selector reads nothing, or SOCKET_ERROR.
int EnumerateProvidersExisting(CatalogSelector catalog, WSAPROTOCOL_INFOW* buffer, DWORD* bufferLength);

// Installs entries under a provider id, and traces the catalog id of the first entry with this provider id.
// When that entry cannot be read, the entries remain installed and the call succeeds.
int InstallProvider(CatalogSelector catalog, GUID* providerId, const wchar_t* dllPath,
                    WSAPROTOCOL_INFOW* entries, DWORD entryCount);

// Deinstalls every entry of a provider id. The call for the second catalog does not depend on the result of
// the first. Returns SOCKET_ERROR when a call failed.
int DeinstallProvider(CatalogSelector catalog, GUID* providerId);

// Updates one entry in place. A missing update function is a failure, and so is a selector with "fails" in
// the table.
//   error  in/out: receives the Winsock error of a failed call; the failure message shows its value
int UpdateProvider(CatalogSelector catalog, GUID* providerId, const wchar_t* dllPath,
                   WSAPROTOCOL_INFOW* entry, int* error);

// Writes the order of the entries.
//   error  receives the error code of a failed call
int WriteProviderOrder(CatalogSelector catalog, DWORD* catalogIds, DWORD idCount, int* error);
