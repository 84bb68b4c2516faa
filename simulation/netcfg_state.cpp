#include "simulation/netcfg_state.h"

#include <initguid.h>
#include <devguid.h>

#include <algorithm>
#include <iterator>
#include <set>
#include <stdexcept>

#include "machine/text.h"
#include "simulation/state_lines.h"

namespace {

const std::set<std::string> kMethods = {
    "CreateInstance", "QueryInterface", "AcquireWriteLock", "ReleaseWriteLock", "Initialize", "Uninitialize",
    "FindComponent",  "GetClassGuid",   "QueryNetCfgClass", "DeInstall",        "Apply"};
const std::set<std::string> kRemovals = {"still-referenced", "wants-restart"};

NetworkComponent ReadComponent(std::string line) {
    NetworkComponent component;
    component.id = TakeWord(line);
    ReadFields(line, [&](const std::string& key, const std::string& value) {
        if (key == "name") {
            component.name = value;
        } else if (key == "class" && FindComponentClass(value) != nullptr) {
            component.componentClass = value;
        } else if (key == "removal" && kRemovals.contains(value)) {
            component.removal = value;
        } else {
            throw std::runtime_error("not a field of a component: " + key + "=" + value);
        }
    });
    return component;
}

void ReadStateLine(std::string line, NetcfgState& state) {
    const std::string word = TakeWord(line);
    if (word == "component" && !line.empty()) {
        state.components.push_back(ReadComponent(line));
    } else if (word == "locked-by" || (word == "granted-with" && !line.empty())) {
        state.holder = line;
        state.lockedByOthers = word == "locked-by";
    } else if (word == "fail" || word == "failed") {
        state.plan.faults.push_back(ParseFault(line, kMethods));
        state.plan.faults.back().occurrences = word == "failed" ? 1 : 0;
    } else {
        throw std::runtime_error("not a line of a network configuration: " + word + " " + line);
    }
}

} // namespace

const std::pair<const char*, const GUID*> kComponentClasses[4] = {{"protocol", &GUID_DEVCLASS_NETTRANS},
                                                                  {"service", &GUID_DEVCLASS_NETSERVICE},
                                                                  {"client", &GUID_DEVCLASS_NETCLIENT},
                                                                  {"adapter", &GUID_DEVCLASS_NET}};

const GUID* FindComponentClass(const std::string& name) {
    const auto found = std::find_if(std::begin(kComponentClasses), std::end(kComponentClasses),
                                    [&](const auto& each) { return name == each.first; });
    return found == std::end(kComponentClasses) ? nullptr : found->second;
}

NetcfgState ParseNetcfgState(const std::string& text) {
    NetcfgState state;
    ReadLines(text, [&](const std::string& line, int) { ReadStateLine(line, state); });
    return state;
}

std::string FormatNetcfgState(const NetcfgState& state) {
    std::string text;
    for (const NetworkComponent& component : state.components) {
        text += "component " + component.id + " class=" + component.componentClass +
                (component.name.empty() ? "" : " name=\"" + component.name + "\"") +
                (component.removal.empty() ? "" : " removal=" + component.removal) + "\n";
    }
    if (state.lockedByOthers) {
        text += "locked-by " + state.holder + "\n";
    } else if (!state.holder.empty()) {
        text += "granted-with " + state.holder + "\n";
    }
    for (const PlannedFault& fault : state.plan.faults) {
        text += FormatFault(fault);
    }
    return text;
}
