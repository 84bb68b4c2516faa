// The simulated network configuration as data, and its text form, one line for each thing:
//   component ms_example class=protocol name="Example protocol"   an installed component; classes are protocol, service,
//                                           client and adapter; "removal=still-referenced" or "removal=wants-restart" is
//                                           what becomes of its removal
//   locked-by NAME                          another client holds the write lock; without a name, an unknown one
//   granted-with NAME                       the lock is granted, and a holder is named all the same
//   fail DeInstall 1 0x80004005             the first call of that method returns that code and does nothing
#pragma once

#include <string>
#include <vector>

#include "state_text.h"

struct NetworkComponent {
    std::string id;
    std::string name;
    std::string componentClass = "protocol";
    std::string removal; // empty where it simply goes
};

struct NetcfgState {
    std::vector<NetworkComponent> components;
    std::vector<PlannedFault> faults;
    std::string holder; // of the write lock, as it is named when the lock is asked for
    bool lockedByOthers = false;
};

// Reads the text form (UTF-8). Throws std::runtime_error whose text begins with the number of the line that is wrong.
NetcfgState ParseNetcfgState(const std::string& text);

// Writes the text form.
std::string FormatNetcfgState(const NetcfgState& state);
