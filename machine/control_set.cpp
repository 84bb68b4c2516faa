#include "machine/control_set.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <map>
#include <stdexcept>
#include <vector>

#include "machine/text.h"

namespace {

constexpr char kInLowerCase[] = "\\services\\winsock2\\parameters";
constexpr char kSelect[] = "\\select";
constexpr char kLocalMachine[] = "hkey_local_machine\\";
constexpr size_t kMostShown = 4; // keys in an error

// The index behind "\Services\WinSock2\Parameters" in a path in lower case; npos where it is not in it.
size_t EndOfParameters(const std::string& lowered) {
    const size_t found = lowered.find(kInLowerCase);
    const size_t end = found + std::strlen(kInLowerCase);
    const bool whole = found != std::string::npos && (lowered.size() == end || lowered[end] == '\\');
    return whole ? end : std::string::npos;
}

// The keys of the catalogs, by their path in lower case.
using Places = std::map<std::string, std::string>;

Places FindPlaces(const Registry& registry) {
    Places places;
    for (const StoredKey& key : registry.keys) {
        const std::string lowered = AsciiLowerCase(key.path);
        const size_t end = EndOfParameters(lowered);
        if (end != std::string::npos) {
            places.emplace(lowered.substr(0, end), key.path.substr(0, end));
        }
    }
    return places;
}

[[noreturn]] void Refuse(const Places& places, const std::string& reason) {
    std::vector<std::string> keys;
    for (const auto& [lowered, path] : places) {
        keys.push_back(keys.size() < kMostShown ? path : "...");
        if (keys.size() > kMostShown) {
            break;
        }
    }
    throw std::runtime_error(Joined(keys) + ": " + reason);
}

// The key that has the control sets of these catalogs, in lower case. There has to be one.
std::string HiveOf(const Places& places) {
    std::string hive;
    for (const auto& [lowered, path] : places) {
        const std::string set = lowered.substr(0, lowered.size() - std::strlen(kInLowerCase));
        const std::string above = set.substr(0, std::min(set.rfind('\\'), set.size()));
        if (!lowered.starts_with(kLocalMachine)) {
            Refuse({{lowered, path}},
                   "catalogs are read below HKEY_LOCAL_MACHINE alone; export the key HKLM\\" +
                       std::string(kWinsockParametersKey));
        }
        if (!hive.empty() && hive != above) {
            Refuse(places, "the catalogs of several machines; give those of one");
        }
        hive = above;
    }
    return hive;
}

// The control set that Windows uses, by the value Select\Current; empty where it is missing.
std::string SetInUse(const Registry& registry, const std::string& hive) {
    const RegistryValue* current = FindValue(registry, hive + kSelect, "Current");
    DWORD number = 0;
    if (current == nullptr || current->bytes.size() != sizeof(number)) {
        return "";
    }
    std::memcpy(&number, current->bytes.data(), sizeof(number));
    char name[32];
    _snprintf(name, sizeof(name), "\\controlset%03lu", number);
    return hive + name;
}

} // namespace

bool IsOfCatalogs(const std::string& key) {
    const std::string lowered = AsciiLowerCase(key);
    return EndOfParameters(lowered) != std::string::npos || lowered.ends_with(kSelect);
}

std::string FindParameters(const Registry& registry) {
    const Places places = FindPlaces(registry);
    if (places.empty()) {
        return "";
    }
    const std::string hive = HiveOf(places);
    const std::string inUse = SetInUse(registry, hive);
    const auto current = places.find(hive + "\\currentcontrolset" + kInLowerCase);
    const auto selected = places.find(inUse + kInLowerCase);
    if (current != places.end() || selected != places.end()) {
        return current != places.end() ? current->second : selected->second;
    }
    if (!inUse.empty()) {
        Refuse(places, "not the control set that the value Select\\Current names");
    }
    if (places.size() > 1) {
        Refuse(places,
               "several control sets, and the value Current of the key Select is missing, which names "
               "the one that Windows uses");
    }
    return places.begin()->second;
}
