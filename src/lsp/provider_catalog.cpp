#include "lsp/provider_catalog.h"

#include <ws2spi.h>
#include <sporder.h>

#include <algorithm>

#include "common/module_function.h"
#include "lsp/private_heap.h"
#include "lsp/provider_entries.h"
#include "lsp/update_functions.h"
#include "trace/trace_log.h"

namespace {

using EnumFunction = decltype(&WSCEnumProtocols);

// Makes an array that was read safe to use: limits the number of entries to the capacity of the buffer and
// terminates every name. Returns the number, or SOCKET_ERROR when that is the value of fetched.
int BoundFetched(WSAPROTOCOL_INFOW* buffer, int fetched, DWORD bufferBytes) {
    const int count = std::min(fetched, static_cast<int>(bufferBytes / sizeof(WSAPROTOCOL_INFOW)));
    for (WSAPROTOCOL_INFOW& entry : SpanOf(buffer, count)) {
        entry.szProtocol[WSAPROTOCOL_LEN] = L'\0';
    }
    return count;
}

// The result of reading a catalog.
struct FetchedCatalog {
    WSAPROTOCOL_INFOW* providers = nullptr; // null on failure
    int count = SOCKET_ERROR;               // SOCKET_ERROR when the second call failed or was not made
};

// Reads a catalog. An empty catalog gives an empty array. A second call that fails without an error code
// gives an array without a count.
FetchedCatalog FetchCatalog(EnumFunction enumerate) {
    int error = 0;
    DWORD length = 0;
    if (enumerate(nullptr, nullptr, &length, &error) == SOCKET_ERROR) {
        if (error != WSAENOBUFS) {
            return {};
        }
        error = 0;
    }
    const DWORD allocated = length;
    auto* providers = static_cast<WSAPROTOCOL_INFOW*>(LspAlloc(allocated, &error));
    if (providers == nullptr) {
        return {};
    }
    const int fetched = enumerate(nullptr, providers, &length, &error);
    if (error != 0) {
        LspFree(providers);
        return {nullptr, fetched};
    }
    return {providers, BoundFetched(providers, fetched, allocated)};
}

// Looks the function up at run time, although EnumerateProvidersExisting imports it. When the lookup fails,
// the catalog cannot be read; no message is written.
FetchedCatalog Fetch32BitCatalog() {
    const HMODULE module = LoadLibraryA("ws2_32.dll");
    if (module == nullptr) {
        return {};
    }
    const auto enumerate = FindFunction<EnumFunction>(module, "WSCEnumProtocols32");
    if (enumerate == nullptr) {
        return {};
    }
    const FetchedCatalog fetched = FetchCatalog(enumerate);
    if (fetched.count != SOCKET_ERROR) {
        // The library is released after a success only; after a failure it remains loaded. Kept, see
        // docs/kept-behaviour.md.
        FreeLibrary(module);
    }
    return fetched;
}

} // namespace

WSAPROTOCOL_INFOW* EnumerateProviders(CatalogSelector catalog, int* count) {
    if (count == nullptr) {
        return nullptr;
    }
    const FetchedCatalog fetched =
        catalog == Catalog32 ? Fetch32BitCatalog() : FetchCatalog(&WSCEnumProtocols);
    *count = fetched.providers == nullptr ? 0 : std::max(fetched.count, 0);
    return fetched.providers;
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
    const LspArray<WSAPROTOCOL_INFOW> providers(EnumerateProviders(catalog, &count));
    if (providers.Get() == nullptr) {
        Trace("InstallProvider: EnumerateProviders failed!\n");
        return result;
    }
    const WSAPROTOCOL_INFOW* installed = ProviderByGuid(providerId, providers.Get(), count);
    if (installed != nullptr) {
        Trace("Installed: [%4d] %ls\n", installed->dwCatalogEntryId, installed->szProtocol);
    }
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
    int code = 0; // these functions return the error code
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
