#include "simulation/netcfg_calls.h"

#include <algorithm>
#include <cstdio>

#include "machine/files.h"

Configuration configuration;

namespace {

// Writes into the state file which faults occurred; the rest of it changes with Apply alone.
void RecordFaults() {
    NetcfgState state = ParseNetcfgState(ReadWholeFile(kNetcfgStateFile));
    state.plan = configuration.state.plan;
    WriteWholeFile(kNetcfgStateFile, FormatNetcfgState(state));
}

} // namespace

HANDLE WriteLock() {
    static const HANDLE mutex = CreateMutexA(nullptr, FALSE, "norvane_sandbox_netcfg");
    return mutex;
}

void Record(const std::string& line) {
    AppendToFile(kNetcfgCallsFile, line + "\n");
}

const NetworkComponent* FindInstalled(const std::string& id) {
    const auto found = std::find_if(
        configuration.state.components.begin(), configuration.state.components.end(),
        [&](const NetworkComponent& component) { return _stricmp(component.id.c_str(), id.c_str()) == 0; });
    return found == configuration.state.components.end() ? nullptr : &*found;
}

std::optional<HRESULT> PlannedResult(const std::string& method) {
    const std::optional<int> planned = NextFault(configuration.state.plan, method);
    if (planned) {
        RecordFaults();
    }
    return planned;
}

HRESULT RecordCall(const std::string& method, const std::string& arguments, HRESULT result) {
    char code[16];
    std::snprintf(code, sizeof(code), "%08lX", static_cast<unsigned long>(result));
    Record(method + (arguments.empty() ? "" : " " + arguments) + " = " + code);
    return result;
}

HRESULT CallToSet(const std::string& method, bool& flag, bool value) {
    return Call(method, "", [&] {
        flag = value;
        return S_OK;
    });
}
