// The Winsock catalogs: reading them, and the calls that change them, each directed by a selector.
//
// All results follow the Winsock convention: 0 or a count, or SOCKET_ERROR. Failures are traced where they
// happen.
#pragma once

#include <winsock2.h>
#include <windows.h>

// Which catalog an operation works on. Each operation reads the selector in its own way, and the removal
// relies on the differences.
using CatalogSelector = int;
constexpr CatalogSelector CatalogBoth = 0;
constexpr CatalogSelector Catalog32 = 1;
constexpr CatalogSelector Catalog64 = 2;

// Reads a catalog: the 32-bit one for Catalog32, the 64-bit one for any other selector. One sizing call and
// one fetch: a catalog that grows in between is a failure. Writes no message.
//   count  receives the number of entries, 0 on failure
// Returns an array from the private heap, or null. Every szProtocol in it is terminated.
WSAPROTOCOL_INFOW* EnumerateProviders(CatalogSelector catalog, int* count);

// Reads a catalog into a buffer of the caller's. Selectors other than Catalog32 and Catalog64 read nothing.
//   bufferLength  in/out, bytes
// Returns the number of entries (0 when nothing was read), or SOCKET_ERROR.
int EnumerateProvidersExisting(CatalogSelector catalog, WSAPROTOCOL_INFOW* buffer, DWORD* bufferLength);

// Installs entries under a provider id: into the 64-bit catalog for Catalog64, into both for other selectors;
// Catalog32 is refused. Traces the catalog id that the first of them got.
int InstallProvider(CatalogSelector catalog, GUID* providerId, const wchar_t* dllPath,
                    WSAPROTOCOL_INFOW* entries, DWORD entryCount);

// Deinstalls every entry of a provider id: from the 64-bit catalog for Catalog64, from both for CatalogBoth,
// from the 32-bit catalog otherwise. Returns SOCKET_ERROR when a call failed.
int DeinstallProvider(CatalogSelector catalog, GUID* providerId);

// Updates one entry in place. CatalogBoth, and a catalog whose update function is missing, count as a failure
// without a call.
//   error  in/out: receives the Winsock error of a failed call, and is what the failure message shows
int UpdateProvider(CatalogSelector catalog, GUID* providerId, const wchar_t* dllPath,
                   WSAPROTOCOL_INFOW* entry, int* error);

// Puts the entries into the given order. Selectors other than Catalog32 and Catalog64 do nothing and return
// 0.
//   error  receives the error code of a failed call
int WriteProviderOrder(CatalogSelector catalog, DWORD* catalogIds, DWORD idCount, int* error);
