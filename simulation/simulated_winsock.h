// A stand-in for the catalog functions of ws2_32.dll, over a WinsockState. It does what Microsoft documents
// of them, as far as the program uses it: a list of protocols to enumerate is not looked at.
//
// It defines the WSC... functions themselves. The rehearsal and the test program link them in; the stand-in
// ws2_32.dll exports them.
#pragma once

#include <ws2spi.h>

#include <functional>
#include <string>
#include <vector>

#include "simulation/winsock_state.h"

struct WinsockCall {
    std::string function;
    std::string argument; // the provider id, or the version of WSAStartup; empty for the others
    GUID id;              // the same provider id; zero for the others
    int result;
    int error; // 0 for none, and for a function whose result is its error
};

// "WSCDeinstallProvider {GUID} = 0", with the error of a call that failed.
std::string FormatCall(const WinsockCall& call);

struct SimulatedWinsock {
    WinsockState state;
    std::vector<WinsockCall> calls; // in their order

    // Called around each function; the stand-in DLL reads and writes its file there, and a test changes the
    // catalog while the program runs. begin gets the function's name.
    std::function<void(const std::string&)> begin;
    std::function<void()> end;
};

// The one simulation of the process.
SimulatedWinsock& Winsock();

// Starts over with the given state, no calls recorded and none counted.
void ResetWinsock(const WinsockState& state);
