// Opens and closes the network configuration object, and the COM library that it needs.
#pragma once

#include <windows.h>
#include <objbase.h>
#include <netcfgx.h>

// Checks the result of a call that returns an object. Returns E_POINTER when the call returned S_OK without
// an object, as a faulty class factory or component can do; otherwise returns hr.
inline HRESULT CheckGiven(HRESULT hr, const void* object) {
    return hr == S_OK && object == nullptr ? E_POINTER : hr;
}

// Initializes COM, creates the network configuration object, takes its write lock and initializes it. Each
// step is traced.
//   getWriteLock  whether the lock is taken
//   outNetCfg     receives the object, which the caller releases with HrReleaseINetCfg; null unless the
//                 result is S_OK
// Returns S_OK, or the code of the first step that returned another one, which can be positive;
// NETCFG_E_NO_WRITE_LOCK when another client holds the lock. Unless the result is S_OK, nothing remains
// locked, referenced or initialized.
HRESULT HrGetINetCfg(bool getWriteLock, INetCfg** outNetCfg);

// Uninitializes the object, releases the lock and the object, and uninitializes COM. The lock remains taken
// when Uninitialize or the query for the lock fails.
//   netCfg  from HrGetINetCfg; the call releases its reference
// Returns the code of the last of these steps that ran: Uninitialize, the query for the lock, its release.
HRESULT HrReleaseINetCfg(INetCfg* netCfg);
