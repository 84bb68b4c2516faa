// The catalog functions. What they check and which errors they give follows the documentation of Winsock.
#define WINSOCK_API_LINKAGE // these are the definitions, not imports
#include "simulation/simulated_winsock.h"

#include <sporder.h>

#include <algorithm>
#include <optional>

namespace {

// What a call is about, for its record.
struct Subject {
    std::string argument;
    GUID id = {};
};

Subject SubjectOf(const GUID* id) {
    return {FormatGuid(*id), *id};
}

// Runs one call of a function and records it. The action returns an error code or 0, and may set the result
// of a call that succeeds. Without an error pointer the function's result is its error code, as for some of
// Winsock.
template <class F> int Run(const std::string& function, const Subject& subject, int* error, F action) {
    SimulatedWinsock& winsock = Winsock();
    if (winsock.begin) {
        winsock.begin(function);
    }
    int result = 0;
    const std::optional<int> planned = NextFault(winsock.state.plan, function);
    const int code = planned ? *planned : action(result);
    if (code != 0) {
        result = error == nullptr ? code : SOCKET_ERROR;
        SetLastError(static_cast<DWORD>(code));
    }
    if (code != 0 && error != nullptr) {
        *error = code;
    }
    winsock.calls.push_back({function, subject.argument, subject.id, result, error == nullptr ? 0 : code});
    if (winsock.end) {
        winsock.end();
    }
    return result;
}

int Enumerate(const char* function, Catalog& catalog, WSAPROTOCOL_INFOW* buffer, DWORD* length, int* error) {
    return Run(function, {}, error, [&](int& result) {
        const DWORD needed = static_cast<DWORD>(catalog.size() * sizeof(WSAPROTOCOL_INFOW));
        if (*length < needed || (buffer == nullptr && needed != 0)) {
            *length = needed;
            return WSAENOBUFS;
        }
        std::transform(catalog.begin(), catalog.end(), buffer,
                       [](const CatalogEntry& entry) { return entry.info; });
        result = static_cast<int>(catalog.size());
        return 0;
    });
}

bool HasProvider(const Catalog& catalog, const GUID* id) {
    return std::any_of(catalog.begin(), catalog.end(),
                       [id](const CatalogEntry& entry) { return entry.info.ProviderId == *id; });
}

// As Run, for a call that only an administrator may make.
template <class F> int Change(const std::string& function, const Subject& subject, int* error, F action) {
    return Run(function, subject, error,
               [&](int& result) { return Winsock().state.notElevated ? WSANO_RECOVERY : action(result); });
}

int Install(const char* function, std::initializer_list<Catalog*> catalogs, const GUID* id, const WCHAR* path,
            const WSAPROTOCOL_INFOW* entries, DWORD count, int* error) {
    return Change(function, SubjectOf(id), error, [&](int&) {
        if (std::any_of(catalogs.begin(), catalogs.end(),
                        [&](const Catalog* catalog) { return HasProvider(*catalog, id); })) {
            return WSANO_RECOVERY;
        }
        for (DWORD i = 0; i < count; ++i) {
            CatalogEntry entry = {entries[i], path};
            entry.info.ProviderId = *id;
            entry.info.dwCatalogEntryId = Winsock().state.nextId++;
            for (Catalog* catalog : catalogs) {
                catalog->push_back(entry);
            }
        }
        return 0;
    });
}

int Deinstall(const char* function, Catalog& catalog, const GUID* id, int* error) {
    return Change(function, SubjectOf(id), error, [&](int&) {
        const auto hasId = [id](const CatalogEntry& entry) { return entry.info.ProviderId == *id; };
        return std::erase_if(catalog, hasId) == 0 ? WSAEINVAL : 0;
    });
}

// Each given entry takes the place of the one with its provider and catalog ids; all of them, or none.
int Update(const char* function, Catalog& catalog, const GUID* id, const WCHAR* path,
           const WSAPROTOCOL_INFOW* entries, DWORD count, int* error) {
    return Change(function, SubjectOf(id), error, [&](int&) {
        Catalog updated = catalog;
        for (DWORD i = 0; i < count; ++i) {
            const auto found = std::find_if(updated.begin(), updated.end(), [&](const CatalogEntry& entry) {
                return entry.info.ProviderId == *id &&
                       entry.info.dwCatalogEntryId == entries[i].dwCatalogEntryId;
            });
            if (found == updated.end()) {
                return WSAEINVAL;
            }
            *found = {entries[i], path};
        }
        catalog = updated;
        return 0;
    });
}

// The list must name each id of the catalog once.
int WriteOrder(const char* function, Catalog& catalog, const DWORD* ids, DWORD count) {
    return Change(function, {}, nullptr, [&](int&) {
        if (count != catalog.size()) {
            return WSAEINVAL;
        }
        Catalog ordered = catalog;
        auto place = ordered.begin();
        for (DWORD i = 0; i < count; ++i) {
            const auto found = std::find_if(place, ordered.end(), [&](const CatalogEntry& entry) {
                return entry.info.dwCatalogEntryId == ids[i];
            });
            if (found == ordered.end()) {
                return WSAEINVAL;
            }
            std::rotate(place, found, found + 1);
            ++place;
        }
        catalog = ordered;
        return 0;
    });
}

} // namespace

std::string FormatCall(const WinsockCall& call) {
    return call.function + (call.argument.empty() ? "" : " " + call.argument) + " = " +
           std::to_string(call.result) + (call.error == 0 ? "" : " error " + std::to_string(call.error));
}

SimulatedWinsock& Winsock() {
    static SimulatedWinsock winsock;
    return winsock;
}

void ResetWinsock(const WinsockState& state) {
    Winsock() = {state, {}, {}, {}};
}

#define CATALOG64 Winsock().state.catalog64
#define CATALOG32 Winsock().state.catalog32

extern "C" {

// The pointers through which code that includes the SDK's headers calls these.
extern decltype(&WSAStartup) __imp_WSAStartup;
extern decltype(&WSACleanup) __imp_WSACleanup;
decltype(&WSAStartup) __imp_WSAStartup = &WSAStartup;
decltype(&WSACleanup) __imp_WSACleanup = &WSACleanup;

int WSAAPI WSAStartup(WORD version, LPWSADATA data) {
    *data = {};
    data->wVersion = version;
    return Run("WSAStartup", {std::to_string(version)}, nullptr, [](int&) { return 0; });
}

int WSAAPI WSACleanup() {
    int error = 0;
    return Run("WSACleanup", {}, &error, [](int&) { return 0; });
}

int WSAAPI WSAGetLastError() {
    return static_cast<int>(GetLastError());
}

int WSPAPI WSCEnumProtocols(LPINT, LPWSAPROTOCOL_INFOW buffer, LPDWORD length, LPINT error) {
    return Enumerate("WSCEnumProtocols", CATALOG64, buffer, length, error);
}

int WSPAPI WSCEnumProtocols32(LPINT, LPWSAPROTOCOL_INFOW buffer, LPDWORD length, LPINT error) {
    return Enumerate("WSCEnumProtocols32", CATALOG32, buffer, length, error);
}

int WSPAPI WSCGetProviderPath(LPGUID id, WCHAR* path, LPINT length, LPINT error) {
    return Run("WSCGetProviderPath", SubjectOf(id), error, [&](int&) {
        const auto found = std::find_if(CATALOG64.begin(), CATALOG64.end(), [id](const CatalogEntry& entry) {
            return entry.info.ProviderId == *id;
        });
        if (found == CATALOG64.end()) {
            return WSAEINVAL;
        }
        const int room = *length;
        *length = static_cast<int>(found->path.size()) + 1;
        if (room < *length) {
            return WSAEFAULT;
        }
        std::copy_n(found->path.c_str(), *length, path);
        return 0;
    });
}

int WSPAPI WSCInstallProvider(LPGUID id, const WCHAR* path, const LPWSAPROTOCOL_INFOW list, DWORD count,
                              LPINT error) {
    return Install("WSCInstallProvider", {&CATALOG64}, id, path, list, count, error);
}

int WSPAPI WSCInstallProvider64_32(LPGUID id, const WCHAR* path, const LPWSAPROTOCOL_INFOW list, DWORD count,
                                   LPINT error) {
    return Install("WSCInstallProvider64_32", {&CATALOG64, &CATALOG32}, id, path, list, count, error);
}

int WSPAPI WSCDeinstallProvider(LPGUID id, LPINT error) {
    return Deinstall("WSCDeinstallProvider", CATALOG64, id, error);
}

int WSPAPI WSCDeinstallProvider32(LPGUID id, LPINT error) {
    return Deinstall("WSCDeinstallProvider32", CATALOG32, id, error);
}

int WSPAPI WSCUpdateProvider(LPGUID id, const WCHAR* path, const LPWSAPROTOCOL_INFOW list, DWORD count,
                             LPINT error) {
    return Update("WSCUpdateProvider", CATALOG64, id, path, list, count, error);
}

int WSPAPI WSCUpdateProvider32(LPGUID id, const WCHAR* path, const LPWSAPROTOCOL_INFOW list, DWORD count,
                               LPINT error) {
    return Update("WSCUpdateProvider32", CATALOG32, id, path, list, count, error);
}

int WSPAPI WSCWriteProviderOrder(LPDWORD ids, DWORD count) {
    return WriteOrder("WSCWriteProviderOrder", CATALOG64, ids, count);
}

int WSPAPI WSCWriteProviderOrder32(LPDWORD ids, DWORD count) {
    return WriteOrder("WSCWriteProviderOrder32", CATALOG32, ids, count);
}
}
