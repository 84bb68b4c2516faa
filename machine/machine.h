// The state of a machine before a removal: its catalogs, namespace providers and shared counts.
#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "machine/winsock_state.h"

// The key of the Winsock catalogs, below HKEY_LOCAL_MACHINE.
inline constexpr char kWinsockParametersKey[] = "SYSTEM\\CurrentControlSet\\Services\\WinSock2\\Parameters";

struct Machine {
    std::string name;         // of the computer, or of the pictures
    bool live = false;        // whether it is this one, whose disk can be looked at
    bool incomplete = false;  // whether an entry, or its path, could not be read
    bool hasCatalogs = false; // whether anything described them; they can be empty
    bool hasCounts = false;   // the same of the shared counts
    WinsockState state;
    std::vector<std::pair<std::string, std::string>>
        namespaces;                            // name and DLL path of each namespace provider
    std::map<std::string, DWORD> sharedCounts; // by path in lower case
    std::vector<std::string> warnings;         // what of it is damaged, each with its key
};

// Reads the machine that this runs on, or the one of the pictures, when there are any: exports of the registry, or a state
// file of the sandbox. Only one of them may have catalogs. Throws std::runtime_error, with file and line or with the key, when
// it cannot be read.
Machine ReadMachine(const std::vector<std::string>& pictures);
