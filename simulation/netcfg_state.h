// The simulated network configuration as data, and its text form, one line for each thing:
//   component ms_example class=protocol name="Example protocol"
//                      an installed component; classes are protocol, service, client and adapter;
//                      "removal=still-referenced" and "removal=wants-restart" are results of its removal
//   locked-by NAME     another client holds the write lock; without a name, an unknown one
//   granted-with NAME  the lock is granted, although a holder is named
//   fail DeInstall 1 0x80004005
//                      the first call of that method returns that code and does nothing; the simulation
//                      writes "failed" for "fail" once it did. DeInstall and Apply make their change when the
//                      code is a status and no error (0x4A020, a restart is due)
#pragma once

#include <windows.h>

#include <string>
#include <utility>
#include <vector>

#include "simulation/fault_plan.h"

struct NetworkComponent {
    std::string id;
    std::string name;
    std::string componentClass = "protocol";
    std::string removal; // empty where nothing else happens
};

struct NetcfgState {
    std::vector<NetworkComponent> components;
    FaultPlan plan;
    std::string holder; // of the write lock, as it is named when the lock is asked for
    bool lockedByOthers = false;
};

// The classes of components: the name in a state, and the GUID of Windows.
extern const std::pair<const char*, const GUID*> kComponentClasses[4];

// The GUID of a class by its name; null for an unknown name.
const GUID* FindComponentClass(const std::string& name);

// Reads the text form (UTF-8). Throws std::runtime_error whose text begins with the number of the line that
// is wrong.
NetcfgState ParseNetcfgState(const std::string& text);

// Writes the text form.
std::string FormatNetcfgState(const NetcfgState& state);
