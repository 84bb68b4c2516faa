// The Winsock catalogs: reading them, and the calls that change them, each directed by a selector.
//
// Unless they say otherwise, functions return 0 or SOCKET_ERROR and trace failures with their Winsock error.
#pragma once

#include <winsock2.h>
#include <windows.h>

// Which catalog an operation works on. Each operation reads the selector in its own way, and the removal
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

// Reads a catalog. One sizing call and one fetch: a catalog that grows in between is a failure. Traces
// nothing.
//   count  receives the number of entries, 0 on failure; null makes the call fail
// Returns an array from the private heap, to be given back with LspFree, in which every szProtocol is
// terminated; null on failure.
WSAPROTOCOL_INFOW* EnumerateProviders(CatalogSelector catalog, int* count);

// Reads a catalog into a buffer of the caller's. Traces nothing.
//   bufferLength  in/out, bytes
// Returns the number of entries, 0 where nothing is read, or SOCKET_ERROR.
int EnumerateProvidersExisting(CatalogSelector catalog, WSAPROTOCOL_INFOW* buffer, DWORD* bufferLength);

// Installs entries under a provider id, and traces the catalog id of the first entry that then has it. When
// that cannot be read, the entries stay installed and the call counts as a success.
int InstallProvider(CatalogSelector catalog, GUID* providerId, const wchar_t* dllPath,
                    WSAPROTOCOL_INFOW* entries, DWORD entryCount);

// Deinstalls every entry of a provider id. The second catalog is tried whatever the first gave.
// Returns SOCKET_ERROR when a call failed.
int DeinstallProvider(CatalogSelector catalog, GUID* providerId);

// Updates one entry in place. A missing update function counts as a failure, and so does a selector for which
// the table says "fails".
//   error  in/out: receives the Winsock error of a failed call, and is what the failure message shows
int UpdateProvider(CatalogSelector catalog, GUID* providerId, const wchar_t* dllPath,
                   WSAPROTOCOL_INFOW* entry, int* error);

// Puts the entries into the given order.
//   error  receives the error code of a failed call
int WriteProviderOrder(CatalogSelector catalog, DWORD* catalogIds, DWORD idCount, int* error);
