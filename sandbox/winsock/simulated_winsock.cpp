// The catalog functions. What they check and which errors they give follows the documentation of Winsock.
#define WINSOCK_API_LINKAGE // these are the definitions, not imports
#include "winsock/simulated_winsock.h"

#include <ws2spi.h>
#include <sporder.h>

#include <algorithm>
#include <cstring>
#include <map>

namespace {

std::map<std::string, int> callCounts;

bool SameId(const SimulatedEntry& entry, const GUID& id) {
    return std::memcmp(&entry.info.ProviderId, &id, sizeof(GUID)) == 0;
}

// One call of a function: plans, records and ends it.
class Call {
  public:
    Call(const char* name, int* error, const std::string& subject = {}) : name_(name), error_(error) {
        SimulatedWinsock& winsock = Winsock();
        if (winsock.begin) {
            winsock.begin(name_);
        }
        const int number = ++callCounts[name_];
        for (const PlannedFault& fault : winsock.state.faults) {
            if (fault.function == name_ && fault.call == number) {
                fault_ = fault.error;
            }
        }
        winsock.calls.push_back(name_ + (subject.empty() ? "" : " " + subject) + " = ");
        record_ = winsock.calls.size() - 1;
    }

    int PlannedError() const { return fault_; }

    // Ends the call: with result, or with SOCKET_ERROR and the error code where that is not 0.
    int End(int result, int error = 0) {
        if (error != 0) {
            result = SOCKET_ERROR;
            *error_ = error;
            SetLastError(static_cast<DWORD>(error));
        }
        return EndWith(result, error);
    }

    // Ends the call of a function whose result is its error code.
    int EndWith(int result, int error) {
        SimulatedWinsock& winsock = Winsock();
        winsock.calls[record_] +=
            std::to_string(result) + (error == 0 ? "" : " error " + std::to_string(error));
        if (winsock.end) {
            winsock.end();
        }
        return result;
    }

  private:
    std::string name_;
    int* error_;
    size_t record_ = 0;
    int fault_ = 0;
};

int Enumerate(Call call, const SimulatedCatalog& catalog, const int* protocols, WSAPROTOCOL_INFOW* buffer,
              DWORD* length) {
    if (call.PlannedError() != 0 || length == nullptr) {
        return call.End(SOCKET_ERROR, length == nullptr ? WSAEFAULT : call.PlannedError());
    }
    std::vector<WSAPROTOCOL_INFOW> listed;
    for (const SimulatedEntry& entry : catalog) {
        bool wanted = protocols == nullptr;
        for (const int* protocol = protocols; !wanted && *protocol != 0; ++protocol) {
            wanted = *protocol == entry.info.iProtocol;
        }
        if (wanted) {
            listed.push_back(entry.info);
        }
    }
    const DWORD needed = static_cast<DWORD>(listed.size() * sizeof(WSAPROTOCOL_INFOW));
    if (*length < needed || (buffer == nullptr && needed != 0)) {
        *length = needed;
        return call.End(SOCKET_ERROR, WSAENOBUFS);
    }
    std::copy(listed.begin(), listed.end(), buffer);
    return call.End(static_cast<int>(listed.size()));
}

int Install(Call call, std::initializer_list<SimulatedCatalog*> catalogs, const GUID* id, const wchar_t* path,
            const WSAPROTOCOL_INFOW* entries, DWORD count) {
    if (call.PlannedError() != 0 || id == nullptr || path == nullptr || entries == nullptr) {
        return call.End(SOCKET_ERROR, call.PlannedError() != 0 ? call.PlannedError() : WSAEFAULT);
    }
    if (count == 0 || std::wcslen(path) >= MAX_PATH) {
        return call.End(SOCKET_ERROR, WSAEINVAL);
    }
    for (DWORD i = 0; i < count; ++i) {
        SimulatedEntry entry = {entries[i], path};
        entry.info.ProviderId = *id;
        entry.info.dwCatalogEntryId = Winsock().state.nextId++;
        for (SimulatedCatalog* catalog : catalogs) {
            catalog->push_back(entry);
        }
    }
    return call.End(0);
}

int Deinstall(Call call, SimulatedCatalog& catalog, const GUID* id) {
    if (call.PlannedError() != 0 || id == nullptr) {
        return call.End(SOCKET_ERROR, id == nullptr ? WSAEFAULT : call.PlannedError());
    }
    const auto gone = [id](const SimulatedEntry& entry) { return SameId(entry, *id); };
    return std::erase_if(catalog, gone) == 0 ? call.End(SOCKET_ERROR, WSAEINVAL) : call.End(0);
}

int Update(Call call, SimulatedCatalog& catalog, const GUID* id, const wchar_t* path,
           const WSAPROTOCOL_INFOW* entries, DWORD count) {
    if (call.PlannedError() != 0 || id == nullptr || path == nullptr || entries == nullptr) {
        return call.End(SOCKET_ERROR, call.PlannedError() != 0 ? call.PlannedError() : WSAEFAULT);
    }
    for (DWORD i = 0; i < count; ++i) {
        const auto found = std::find_if(catalog.begin(), catalog.end(), [&](const SimulatedEntry& entry) {
            return SameId(entry, *id) && entry.info.dwCatalogEntryId == entries[i].dwCatalogEntryId;
        });
        if (found == catalog.end()) {
            return call.End(SOCKET_ERROR, WSAEINVAL);
        }
        *found = {entries[i], path};
        found->info.ProviderId = *id;
    }
    return call.End(0);
}

// The listed entries come first, in the order of the list; every id must be in the catalog.
int WriteOrder(Call call, SimulatedCatalog& catalog, const DWORD* ids, DWORD count) {
    if (call.PlannedError() != 0) {
        return call.EndWith(call.PlannedError(), call.PlannedError());
    }
    SimulatedCatalog ordered;
    SimulatedCatalog rest = catalog;
    for (DWORD i = 0; i < count; ++i) {
        const auto found = std::find_if(rest.begin(), rest.end(), [&](const SimulatedEntry& entry) {
            return entry.info.dwCatalogEntryId == ids[i];
        });
        if (found == rest.end()) {
            return call.EndWith(WSAEINVAL, WSAEINVAL);
        }
        ordered.push_back(*found);
        rest.erase(found);
    }
    ordered.insert(ordered.end(), rest.begin(), rest.end());
    catalog = ordered;
    return call.EndWith(0, 0);
}

std::string Subject(const GUID* id) {
    return id == nullptr ? "null" : FormatGuid(*id);
}

} // namespace

SimulatedWinsock& Winsock() {
    static SimulatedWinsock winsock;
    return winsock;
}

void ResetWinsock(const WinsockState& state) {
    Winsock() = {state, {}, {}, {}};
    callCounts.clear();
}

extern "C" {

// The pointers through which code that includes the SDK's headers calls these.
extern decltype(&WSAStartup) __imp_WSAStartup;
extern decltype(&WSACleanup) __imp_WSACleanup;
decltype(&WSAStartup) __imp_WSAStartup = &WSAStartup;
decltype(&WSACleanup) __imp_WSACleanup = &WSACleanup;

int WSAAPI WSAStartup(WORD version, LPWSADATA data) {
    int error = 0;
    Call call("WSAStartup", &error, std::to_string(version));
    *data = {};
    data->wVersion = version;
    return call.EndWith(call.PlannedError(), 0);
}

int WSAAPI WSACleanup() {
    int error = 0;
    Call call("WSACleanup", &error);
    return call.End(0, call.PlannedError());
}

int WSAAPI WSAGetLastError() {
    return static_cast<int>(GetLastError());
}

void WSAAPI WSASetLastError(int error) {
    SetLastError(static_cast<DWORD>(error));
}

int WSPAPI WSCEnumProtocols(LPINT protocols, LPWSAPROTOCOL_INFOW buffer, LPDWORD length, LPINT error) {
    return Enumerate(Call("WSCEnumProtocols", error), Winsock().state.catalog64, protocols, buffer, length);
}

int WSPAPI WSCEnumProtocols32(LPINT protocols, LPWSAPROTOCOL_INFOW buffer, LPDWORD length, LPINT error) {
    return Enumerate(Call("WSCEnumProtocols32", error), Winsock().state.catalog32, protocols, buffer, length);
}

int WSPAPI WSCGetProviderPath(LPGUID id, WCHAR* path, LPINT length, LPINT error) {
    Call call("WSCGetProviderPath", error, Subject(id));
    if (call.PlannedError() != 0) {
        return call.End(SOCKET_ERROR, call.PlannedError());
    }
    for (const SimulatedEntry& entry : Winsock().state.catalog64) {
        if (SameId(entry, *id)) {
            const int needed = static_cast<int>(entry.path.size()) + 1;
            if (*length < needed) {
                *length = needed;
                return call.End(SOCKET_ERROR, WSAEFAULT);
            }
            std::copy_n(entry.path.c_str(), needed, path);
            *length = needed;
            return call.End(0);
        }
    }
    return call.End(SOCKET_ERROR, WSAEINVAL);
}

int WSPAPI WSCInstallProvider(LPGUID id, const WCHAR* path, const LPWSAPROTOCOL_INFOW entries, DWORD count,
                              LPINT error) {
    return Install(Call("WSCInstallProvider", error, Subject(id)), {&Winsock().state.catalog64}, id, path,
                   entries, count);
}

int WSPAPI WSCInstallProvider64_32(LPGUID id, const WCHAR* path, const LPWSAPROTOCOL_INFOW entries,
                                   DWORD count, LPINT error) {
    return Install(Call("WSCInstallProvider64_32", error, Subject(id)),
                   {&Winsock().state.catalog64, &Winsock().state.catalog32}, id, path, entries, count);
}

int WSPAPI WSCDeinstallProvider(LPGUID id, LPINT error) {
    return Deinstall(Call("WSCDeinstallProvider", error, Subject(id)), Winsock().state.catalog64, id);
}

int WSPAPI WSCDeinstallProvider32(LPGUID id, LPINT error) {
    return Deinstall(Call("WSCDeinstallProvider32", error, Subject(id)), Winsock().state.catalog32, id);
}

int WSPAPI WSCUpdateProvider(LPGUID id, const WCHAR* path, const LPWSAPROTOCOL_INFOW entries, DWORD count,
                             LPINT error) {
    return Update(Call("WSCUpdateProvider", error, Subject(id)), Winsock().state.catalog64, id, path, entries,
                  count);
}

int WSPAPI WSCUpdateProvider32(LPGUID id, const WCHAR* path, const LPWSAPROTOCOL_INFOW entries, DWORD count,
                               LPINT error) {
    return Update(Call("WSCUpdateProvider32", error, Subject(id)), Winsock().state.catalog32, id, path,
                  entries, count);
}

int WSPAPI WSCWriteProviderOrder(LPDWORD ids, DWORD count) {
    int error = 0;
    return WriteOrder(Call("WSCWriteProviderOrder", &error), Winsock().state.catalog64, ids, count);
}

int WSPAPI WSCWriteProviderOrder32(LPDWORD ids, DWORD count) {
    int error = 0;
    return WriteOrder(Call("WSCWriteProviderOrder32", &error), Winsock().state.catalog32, ids, count);
}
}
