// The two functions that update a catalog entry in place, which only some versions of Windows export.
#pragma once

#include <winsock2.h>
#include <windows.h>

using UpdateProviderFunction = int(WSAAPI*)(GUID* providerId, const WCHAR* dllPath,
                                            WSAPROTOCOL_INFOW* entries, DWORD entryCount, int* error);

struct ProviderUpdateFunctions {
    UpdateProviderFunction update64; // null when Windows does not export it
    UpdateProviderFunction update32;
};

// Returns the functions in use; both are null before LoadUpdateProviderFunctions.
const ProviderUpdateFunctions& UpdateFunctions();

// Sets the functions in use.
void SetUpdateFunctions(const ProviderUpdateFunctions& found);
