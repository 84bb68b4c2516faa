#include "machine/shared_counts.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "files/file_remover.h"
#include "machine/text.h"

namespace {

const std::string kRoot = "HKEY_LOCAL_MACHINE\\";
const std::string kKey64 = AsciiLowerCase(kRoot + kSharedDllsKey);
const std::string kKey32 = AsciiLowerCase(kRoot + kSharedDlls32Key);

// The count that a value was meant to be; 0 where it cannot be one. The command reads a REG_DWORD alone.
DWORD CountIn(const RegistryValue& value) {
    if (value.type == REG_SZ || value.type == REG_EXPAND_SZ) {
        return std::strtoul(value.bytes.c_str(), nullptr, 10);
    }
    DWORD count = 0;
    std::memcpy(&count, value.bytes.data(), std::min(value.bytes.size(), sizeof(count)));
    return count;
}

} // namespace

bool IsOfSharedCounts(const std::string& key) {
    const std::string lowered = AsciiLowerCase(key);
    return lowered == kKey64 || lowered == kKey32;
}

bool AddSharedCounts(const Registry& registry, Machine& machine) {
    bool found = false;
    for (const bool is32 : {false, true}) {
        const StoredKey* const key = FindKey(registry, is32 ? kKey32 : kKey64);
        if (key == nullptr) {
            continue;
        }
        (is32 ? machine.hasCounts32 : machine.hasCounts) = true;
        found = true;
        for (const auto& [lowered, value] : key->values) {
            const DWORD count = CountIn(value);
            const bool isRead = !is32 && value.type == REG_DWORD && value.bytes.size() == sizeof(count);
            if (isRead) {
                machine.sharedCounts.insert_or_assign(machine.sharedCounts.end(), lowered, count);
            }
            if (!lowered.empty()) { // the unnamed value belongs to no file
                machine.storedCounts.push_back({value.name, count, isRead});
            }
        }
    }
    return found;
}
