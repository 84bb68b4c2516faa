#include "netcfg/netcfg_state.h"

#include <stdexcept>

namespace {

const char* const kMethods[] = {
    "CreateInstance", "QueryInterface", "AcquireWriteLock", "ReleaseWriteLock", "Initialize", "Uninitialize",
    "FindComponent",  "GetClassGuid",   "QueryNetCfgClass", "DeInstall",        "Apply",      nullptr};

void ReadStateLine(std::string line, NetcfgState& state) {
    const std::string word = TakeWord(line);
    if (word == "component" && !line.empty()) {
        const std::string id = TakeWord(line);
        state.components.push_back({id, line});
    } else if (word == "locked-by" || (word == "granted-with" && !line.empty())) {
        state.holder = line;
        state.lockedByOthers = word == "locked-by";
    } else if (word == "fail") {
        state.faults.push_back(ParseFault(line, kMethods));
    } else {
        throw std::runtime_error("not a line of a network configuration: " + word + " " + line);
    }
}

} // namespace

NetcfgState ParseNetcfgState(const std::string& text) {
    NetcfgState state;
    int number = 0;
    ReadLines(text, number, [&](const std::string& line) { ReadStateLine(line, state); });
    return state;
}

std::string FormatNetcfgState(const NetcfgState& state) {
    std::string text;
    for (const NetworkComponent& component : state.components) {
        text += "component " + component.id + (component.name.empty() ? "" : " ") + component.name + "\n";
    }
    if (state.lockedByOthers) {
        text += "locked-by " + state.holder + "\n";
    } else if (!state.holder.empty()) {
        text += "granted-with " + state.holder + "\n";
    }
    for (const PlannedFault& fault : state.faults) {
        text += FormatFault(fault);
    }
    return text;
}
