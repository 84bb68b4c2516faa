// The two functions that update a catalog entry in place, which only some versions of Windows export.
#pragma once

#include <winsock2.h>
#include <windows.h>

using UpdateProviderFunction = int(WSAAPI*)(GUID* providerId, const WCHAR* dllPath,
                                            WSAPROTOCOL_INFOW* entries, DWORD entryCount, int* error);

struct ProviderUpdateFunctions {
    UpdateProviderFunction update64; // null where Windows does not have it
    UpdateProviderFunction update32;
};

// Loads the system's ws2_32.dll by its full path and looks the update functions up. A function that is not
// exported is no failure.
// Returns the module, which stays loaded so that the functions stay valid; null on failure, after a message
// to the trace (a path that does not fit) or to standard error (no expansion, no library).
HMODULE LoadUpdateProviderFunctions();

// What LoadUpdateProviderFunctions found; both null before.
const ProviderUpdateFunctions& UpdateFunctions();
