// A stand-in for the catalog functions of ws2_32.dll, over a WinsockState. It does what Microsoft documents of
// them, as far as the program uses it: a list of protocols to enumerate is not looked at.
//
// It defines the WSC... functions themselves. The rehearsal and the test program link them in; the stand-in ws2_32.dll
// exports them.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include <ws2spi.h>

#include "winsock/winsock_state.h"

struct SimulatedWinsock {
    WinsockState state;
    int failures = 0;               // planned ones that came about
    std::vector<std::string> calls; // "WSCDeinstallProvider {GUID} = 0", in the order of the calls

    // Called around each function; the stand-in DLL reads and writes its file there, and a test changes the
    // catalog under the program's feet. begin gets the function's name.
    std::function<void(const std::string&)> begin;
    std::function<void()> end;
};

// Those that the SDK's headers here do not declare.
extern "C" int WSPAPI WSCUpdateProvider(LPGUID id, const WCHAR* path, const LPWSAPROTOCOL_INFOW list,
                                        DWORD count, LPINT error);
extern "C" int WSPAPI WSCUpdateProvider32(LPGUID id, const WCHAR* path, const LPWSAPROTOCOL_INFOW list,
                                          DWORD count, LPINT error);

// The one simulation of the process.
SimulatedWinsock& Winsock();

// Starts over with the given state, no calls recorded and none counted.
void ResetWinsock(const WinsockState& state);
