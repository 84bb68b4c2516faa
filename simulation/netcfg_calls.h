// The state of the simulated network configuration in this process, and the record of the calls to it.
#pragma once

#include <windows.h>

#include <optional>
#include <string>

#include "simulation/netcfg_state.h"

// Apply writes the components, PlannedResult which failures occurred.
constexpr char kNetcfgStateFile[] = "C:\\sandbox\\netcfg.txt";

// A line for each call; at the end, what was not released.
constexpr char kNetcfgCallsFile[] = "C:\\sandbox\\netcfg.calls.txt";

struct Configuration {
    NetcfgState state; // less the components that are deinstalled
    int references = 0;
    bool locked = false;
    bool initialized = false;
    bool restartDue = false; // once the changes are applied
};

// The configuration of this process.
extern Configuration configuration;

// The write lock among all the programs. The owner's end releases it, too.
HANDLE WriteLock();

// Adds a line to the record.
void Record(const std::string& line);

// The component with that id, in any letter case; null when there is none.
const NetworkComponent* FindInstalled(const std::string& id);

// Counts a call. Returns its planned result, and writes into the state file that the failure occurred; or
// nothing.
std::optional<HRESULT> PlannedResult(const std::string& method);

// Records a call with its result, which it returns.
HRESULT RecordCall(const std::string& method, const std::string& arguments, HRESULT result);

// Counts and records a call, and gives it its planned result in the place of its own.
template <class F> HRESULT Call(const std::string& method, const std::string& arguments, F action) {
    const std::optional<HRESULT> planned = PlannedResult(method);
    return RecordCall(method, arguments, planned ? *planned : action());
}

// As Call, for a change of the components. A planned status, such as that a restart is due, says that the
// change was made: it takes the place of a success. A planned error says that nothing was changed.
template <class F> HRESULT CallToChange(const std::string& method, const std::string& arguments, F action) {
    const std::optional<HRESULT> planned = PlannedResult(method);
    HRESULT result = planned && FAILED(*planned) ? *planned : action();
    if (planned && SUCCEEDED(result)) {
        result = *planned;
    }
    return RecordCall(method, arguments, result);
}

// As Call, for a method that sets a flag of the configuration.
HRESULT CallToSet(const std::string& method, bool& flag, bool value);
