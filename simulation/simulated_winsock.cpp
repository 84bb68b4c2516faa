// The catalog functions. What they check and which errors they give follows the documentation of Winsock.
#define WINSOCK_API_LINKAGE // these are the definitions, not imports
#include "simulation/simulated_winsock.h"

#include <sporder.h>

#include <algorithm>
#include <optional>

namespace {

// Runs one call of a function and records it. The action returns an error code or 0, and may set the result
// of a call that succeeds. Without an error pointer the function's result is its error code, as for some of
// Winsock.
template <class F> int Run(const std::string& function, const std::string& subject, int* error, F action) {
    SimulatedWinsock& winsock = Winsock();
    if (winsock.begin) {
        winsock.begin(function);
    }
    int result = 0;
    const std::optional<int> planned = TakeFault(winsock.state.plan, function);
    const int code = planned ? *planned : action(result);
    if (code != 0) {
        result = error == nullptr ? code : SOCKET_ERROR;
        SetLastError(static_cast<DWORD>(code));
    }
    if (code != 0 && error != nullptr) {
        *error = code;
    }
    winsock.calls.push_back(function + subject + " = " + std::to_string(result) +
                            (code == 0 || error == nullptr ? "" : " error " + std::to_string(code)));
    if (winsock.end) {
        winsock.end();
    }
    return result;
}

int Enumerate(const char* function, SimulatedCatalog& catalog, WSAPROTOCOL_INFOW* buffer, DWORD* length,
              int* error) {
    return Run(function, "", error, [&](int& result) {
        const DWORD needed = static_cast<DWORD>(catalog.size() * sizeof(WSAPROTOCOL_INFOW));
        if (*length < needed || (buffer == nullptr && needed != 0)) {
            *length = needed;
            return WSAENOBUFS;
        }
        std::transform(catalog.begin(), catalog.end(), buffer,
                       [](const SimulatedEntry& entry) { return entry.info; });
        result = static_cast<int>(catalog.size());
        return 0;
    });
}

std::string Subject(const GUID* id) {
    return " " + FormatGuid(*id);
}

bool HasProvider(const SimulatedCatalog& catalog, const GUID* id) {
    return std::any_of(catalog.begin(), catalog.end(),
                       [id](const SimulatedEntry& entry) { return entry.info.ProviderId == *id; });
}

// As Run, for a call that only an administrator may make.
template <class F> int Change(const std::string& function, const std::string& subject, int* error, F action) {
    return Run(function, subject, error,
               [&](int& result) { return Winsock().state.notElevated ? WSANO_RECOVERY : action(result); });
}

int Install(const char* function, std::initializer_list<SimulatedCatalog*> catalogs, const GUID* id,
            const WCHAR* path, const WSAPROTOCOL_INFOW* entries, DWORD count, int* error) {
    return Change(function, Subject(id), error, [&](int&) {
        if (std::any_of(catalogs.begin(), catalogs.end(),
                        [&](const SimulatedCatalog* catalog) { return HasProvider(*catalog, id); })) {
            return WSANO_RECOVERY;
        }
        for (DWORD i = 0; i < count; ++i) {
            SimulatedEntry entry = {entries[i], path};
            entry.info.ProviderId = *id;
            entry.info.dwCatalogEntryId = Winsock().state.nextId++;
            for (SimulatedCatalog* catalog : catalogs) {
                catalog->push_back(entry);
            }
        }
        return 0;
    });
}

int Deinstall(const char* function, SimulatedCatalog& catalog, const GUID* id, int* error) {
    return Change(function, Subject(id), error, [&](int&) {
        const auto hasId = [id](const SimulatedEntry& entry) { return entry.info.ProviderId == *id; };
        return std::erase_if(catalog, hasId) == 0 ? WSAEINVAL : 0;
    });
}

// Each given entry takes the place of the one with its provider and catalog ids; all of them, or none.
int Update(const char* function, SimulatedCatalog& catalog, const GUID* id, const WCHAR* path,
           const WSAPROTOCOL_INFOW* entries, DWORD count, int* error) {
    return Change(function, Subject(id), error, [&](int&) {
        SimulatedCatalog updated = catalog;
        for (DWORD i = 0; i < count; ++i) {
            const auto found = std::find_if(updated.begin(), updated.end(), [&](const SimulatedEntry& entry) {
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
int WriteOrder(const char* function, SimulatedCatalog& catalog, const DWORD* ids, DWORD count) {
    return Change(function, "", nullptr, [&](int&) {
        if (count != catalog.size()) {
            return WSAEINVAL;
        }
        SimulatedCatalog ordered = catalog;
        auto place = ordered.begin();
        for (DWORD i = 0; i < count; ++i) {
            const auto found = std::find_if(place, ordered.end(), [&](const SimulatedEntry& entry) {
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
    return Run("WSAStartup", " " + std::to_string(version), nullptr, [](int&) { return 0; });
}

int WSAAPI WSACleanup() {
    int error = 0;
    return Run("WSACleanup", "", &error, [](int&) { return 0; });
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
    return Run("WSCGetProviderPath", Subject(id), error, [&](int&) {
        const auto found =
            std::find_if(CATALOG64.begin(), CATALOG64.end(),
                         [id](const SimulatedEntry& entry) { return entry.info.ProviderId == *id; });
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
