#include "lsp/provider_catalog.h"

#include <ws2spi.h>
#include <sporder.h>

#include <algorithm>

#include "lsp/private_heap.h"
#include "lsp/provider_entries.h"
#include "lsp/update_functions.h"
#include "trace/trace_log.h"

namespace {

using EnumFunction = decltype(&WSCEnumProtocols);

// Makes a fetched array safe to read: no more entries than the buffer holds, every name terminated. A failure
// (SOCKET_ERROR) passes through.
int BoundFetched(WSAPROTOCOL_INFOW* buffer, int fetched, DWORD bufferBytes) {
    const int capacity = static_cast<int>(bufferBytes / sizeof(WSAPROTOCOL_INFOW));
    const int count = std::min(fetched, capacity);
    for (int i = 0; i < count; ++i) {
        buffer[i].szProtocol[WSAPROTOCOL_LEN] = L'\0';
    }
    return count;
}

// Sizes and fetches a catalog. An empty catalog gives an empty array, and so does a fetch that fails without
// an error.
//   count    0 on entry; receives the number of entries
//   fetched  receives whether the fetch itself succeeded
// Returns null on failure.
WSAPROTOCOL_INFOW* FetchCatalog(EnumFunction enumerate, int* count, bool* fetched) {
    int error = 0;
    DWORD length = 0;
    if (enumerate(nullptr, nullptr, &length, &error) == SOCKET_ERROR) {
        if (error != WSAENOBUFS) {
            return nullptr;
        }
        error = 0;
    }
    const DWORD allocated = length;
    auto* providers = static_cast<WSAPROTOCOL_INFOW*>(LspAlloc(allocated, &error));
    if (providers == nullptr) {
        return nullptr;
    }
    const int result = enumerate(nullptr, providers, &length, &error);
    *fetched = result != SOCKET_ERROR;
    if (error != 0) {
        LspFree(providers);
        return nullptr;
    }
    if (*fetched) {
        *count = BoundFetched(providers, result, allocated);
    }
    return providers;
}

// Looks the function up at run time, although EnumerateProvidersExisting imports it. When the lookup fails,
// the catalog counts as unreadable, without a message.
WSAPROTOCOL_INFOW* Fetch32BitCatalog(int* count) {
    const HMODULE module = LoadLibraryA("ws2_32.dll");
    if (module == nullptr) {
        return nullptr;
    }
    const FARPROC function = GetProcAddress(module, "WSCEnumProtocols32");
    if (function == nullptr) {
        return nullptr;
    }
    bool fetched = false;
    WSAPROTOCOL_INFOW* providers =
        FetchCatalog(reinterpret_cast<EnumFunction>(reinterpret_cast<void*>(function)), count, &fetched);
    if (fetched) {
        // The library is released only after a success. After a failure it stays loaded. Kept, see
        // docs/kept-behaviour.md.
        FreeLibrary(module);
    }
    return providers;
}

} // namespace

WSAPROTOCOL_INFOW* EnumerateProviders(CatalogSelector catalog, int* count) {
    if (count == nullptr) {
        return nullptr;
    }
    *count = 0;
    bool fetched = false;
    return catalog == Catalog32 ? Fetch32BitCatalog(count) : FetchCatalog(&WSCEnumProtocols, count, &fetched);
}

int EnumerateProvidersExisting(CatalogSelector catalog, WSAPROTOCOL_INFOW* buffer, DWORD* bufferLength) {
    if (catalog != Catalog64 && catalog != Catalog32) {
        return 0;
    }
    const auto enumerate = catalog == Catalog64 ? &WSCEnumProtocols : &WSCEnumProtocols32;
    const DWORD capacity = *bufferLength;
    int error = 0;
    const int fetched = enumerate(nullptr, buffer, bufferLength, &error);
    return BoundFetched(buffer, fetched, capacity);
}

int InstallProvider(CatalogSelector catalog, GUID* providerId, const wchar_t* dllPath,
                    WSAPROTOCOL_INFOW* entries, DWORD entryCount) {
    if (catalog == Catalog32) {
        Trace("InstallProvider: Error! It is not possible to install only in 32-bit catalog from 64-bit "
              "process!\n\n");
        return SOCKET_ERROR;
    }
    int error = 0;
    const int result = catalog == Catalog64
                           ? WSCInstallProvider(providerId, dllPath, entries, entryCount, &error)
                           : WSCInstallProvider64_32(providerId, dllPath, entries, entryCount, &error);
    if (result == SOCKET_ERROR) {
        Trace("InstallProvider: WSCInstallProvider* failed: %d\n", error);
        return SOCKET_ERROR;
    }

    int count = 0;
    WSAPROTOCOL_INFOW* providers = EnumerateProviders(catalog, &count);
    if (providers == nullptr) {
        Trace("InstallProvider: EnumerateProviders failed!\n");
        return result;
    }
    const WSAPROTOCOL_INFOW* installed = ProviderByGuid(providerId, providers, count);
    if (installed != nullptr) {
        Trace("Installed: [%4d] %ls\n", installed->dwCatalogEntryId, installed->szProtocol);
    }
    LspFree(providers);
    return result;
}

int DeinstallProvider(CatalogSelector catalog, GUID* providerId) {
    int result = 0;
    int error = 0;
    if (catalog == CatalogBoth || catalog == Catalog64) {
        if (WSCDeinstallProvider(providerId, &error) == SOCKET_ERROR) {
            Trace("DeinstallProvider: WSCDeinstallProvider failed: %d\n", error);
            result = SOCKET_ERROR;
        }
    }
    if (catalog != Catalog64) {
        if (WSCDeinstallProvider32(providerId, &error) == SOCKET_ERROR) {
            Trace("DeinstallProvider: WSCDeinstallProvider32 failed: %d\n", error);
            result = SOCKET_ERROR;
        }
    }
    return result;
}

int UpdateProvider(CatalogSelector catalog, GUID* providerId, const wchar_t* dllPath,
                   WSAPROTOCOL_INFOW* entry, int* error) {
    UpdateProviderFunction update = nullptr;
    if (catalog == Catalog64) {
        update = UpdateFunctions().update64;
    } else if (catalog == Catalog32) {
        update = UpdateFunctions().update32;
    }
    const int result = update == nullptr ? SOCKET_ERROR : update(providerId, dllPath, entry, 1, error);
    if (result == SOCKET_ERROR) {
        Trace("UpdateProvider: WSCUpdateProvider failed: %d\n", *error);
    }
    return result;
}

int WriteProviderOrder(CatalogSelector catalog, DWORD* catalogIds, DWORD idCount, int* error) {
    int code = 0; // these functions return the error code itself
    if (catalog == Catalog32) {
        code = WSCWriteProviderOrder32(catalogIds, idCount);
    } else if (catalog == Catalog64) {
        code = WSCWriteProviderOrder(catalogIds, idCount);
    }
    if (code != 0) {
        *error = code;
        Trace("WriteProviderOrder: WSCWriteProviderOrder failed: %d\n", code);
        return SOCKET_ERROR;
    }
    return 0;
}
