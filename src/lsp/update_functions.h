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

// The functions in use; both null before LoadUpdateProviderFunctions.
const ProviderUpdateFunctions& UpdateFunctions();

// Sets the functions in use.
void SetUpdateFunctions(const ProviderUpdateFunctions& found);
