#include "netcfg/netcfg_state.h"

#include <algorithm>
#include <set>
#include <stdexcept>

namespace {

const char* const kMethods[] = {
    "CreateInstance", "QueryInterface", "AcquireWriteLock", "ReleaseWriteLock", "Initialize", "Uninitialize",
    "FindComponent",  "GetClassGuid",   "QueryNetCfgClass", "DeInstall",        "Apply",      nullptr};
const std::set<std::string> kClasses = {"protocol", "service", "client", "adapter"};
const std::set<std::string> kRemovals = {"still-referenced", "wants-restart"};

NetworkComponent ReadComponent(std::string line) {
    NetworkComponent component;
    component.id = TakeWord(line);
    std::set<std::string> fields;
    while (!line.empty()) {
        const size_t equals = std::min(line.find('='), line.size());
        const std::string key = line.substr(0, equals);
        line.erase(0, equals + 1);
        const std::string value = TakeQuoted(line);
        const bool isNew = fields.insert(key).second;
        if (key == "name" && isNew) {
            component.name = value;
        } else if (key == "class" && isNew && kClasses.contains(value)) {
            component.componentClass = value;
        } else if (key == "removal" && isNew && kRemovals.contains(value)) {
            component.removal = value;
        } else {
            throw std::runtime_error("not a field of a component: " + key + "=" + value);
        }
    }
    return component;
}

void ReadStateLine(std::string line, NetcfgState& state) {
    const std::string word = TakeWord(line);
    if (word == "component" && !line.empty()) {
        state.components.push_back(ReadComponent(line));
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
    for (const PlannedFault& fault : state.faults) {
        text += FormatFault(fault);
    }
    return text;
}
