// Opening and closing the network configuration object, together with the COM library that it needs.
#pragma once

#include <windows.h>
#include <objbase.h>
#include <netcfgx.h>

// Returns hr, the code of a call that gives out an object. When the call returned S_OK but gave no object, as
// a broken class factory or component can do, returns E_POINTER instead.
inline HRESULT CheckGiven(HRESULT hr, const void* object) {
    return hr == S_OK && object == nullptr ? E_POINTER : hr;
}

// Starts COM, creates the network configuration object, takes its write lock and initialises it. Each step is
// traced.
//   getWriteLock  false leaves the lock alone
//   outNetCfg     receives the object, to be given back with HrReleaseINetCfg; null on any other result than
//                 S_OK
// Returns S_OK, or the code of the first step that returned another one, which may be positive;
// NETCFG_E_NO_WRITE_LOCK when another client holds the lock. On any result but S_OK nothing is left locked,
// referenced or initialised.
HRESULT HrGetINetCfg(bool getWriteLock, INetCfg** outNetCfg);

// Uninitialises the object, gives the lock back, and ends COM. When the object cannot be uninitialised, or
// asked for its lock, the lock stays taken.
//   netCfg  from HrGetINetCfg; its reference is given up
// Returns the code of the last step made of these: uninitialising, asking for the lock, giving it back.
HRESULT HrReleaseINetCfg(INetCfg* netCfg);
