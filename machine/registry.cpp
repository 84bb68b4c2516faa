#include "machine/registry.h"

#include <stdexcept>

#include "common/owned.h"
#include "machine/text.h"

namespace {

constexpr size_t kMost = 100'000; // keys, and values of a key: no Windows has as many

// Returns the error that stopped it; ERROR_SUCCESS for none. So does the next one.
LONG AddLiveValues(HKEY key, StoredKey& stored) {
    DWORD longestName = 0;
    DWORD largest = 0;
    LONG error = RegQueryInfoKeyA(key, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                  &longestName, &largest, nullptr, nullptr);
    // A character has up to four bytes in a code page. The size of a text can be that of another encoding.
    std::string name(4 * longestName + 1, '\0');
    std::string data(2 * largest + 2, '\0');
    for (DWORD index = 0; error == ERROR_SUCCESS; ++index) {
        DWORD nameLength = static_cast<DWORD>(name.size());
        DWORD size = static_cast<DWORD>(data.size());
        DWORD type = 0;
        error = RegEnumValueA(key, index, name.data(), &nameLength, nullptr, &type,
                              reinterpret_cast<BYTE*>(data.data()), &size);
        if (error == ERROR_SUCCESS) {
            AddValue(stored, {type, DecodedValue(type, data.substr(0, size), false),
                              FromAnsi(name.substr(0, nameLength))});
        }
    }
    return error == ERROR_NO_MORE_ITEMS ? ERROR_SUCCESS : error;
}

LONG AddLiveKeys(HKEY key, const std::string& path, Registry& registry) {
    LONG error = ERROR_SUCCESS;
    for (DWORD index = 0; error == ERROR_SUCCESS; ++index) {
        char name[4 * 256]; // a key's name has at most 255 characters
        DWORD length = sizeof(name);
        error = RegEnumKeyExA(key, index, name, &length, nullptr, nullptr, nullptr, nullptr);
        if (error == ERROR_SUCCESS) {
            AddLiveRegistry(path + "\\" + name, registry);
        }
    }
    return error == ERROR_NO_MORE_ITEMS ? ERROR_SUCCESS : error;
}

} // namespace

StoredKey* AddKey(const std::string& path, Registry& registry) {
    const std::string lowered = LowerCase(path);
    if (registry.keys.size() == kMost) {
        throw std::runtime_error(path + ": more than 100,000 keys");
    }
    const auto [place, added] = registry.byPath.try_emplace(lowered, nullptr);
    if (!added) {
        return nullptr;
    }
    registry.keys.push_back({path, lowered, {}});
    place->second = &registry.keys.back();
    return place->second;
}

const StoredKey* FindKey(const Registry& registry, const std::string& path) {
    const auto found = registry.byPath.find(LowerCase(path));
    return found == registry.byPath.end() ? nullptr : found->second;
}

const RegistryValue* FindValue(const Registry& registry, const std::string& path, const std::string& name) {
    const StoredKey* const key = FindKey(registry, path);
    if (key == nullptr) {
        return nullptr;
    }
    const auto found = key->values.find(LowerCase(name));
    return found == key->values.end() ? nullptr : &found->second;
}

std::string DecodedValue(DWORD type, const std::string& bytes, bool wide) {
    if (type != REG_SZ && type != REG_EXPAND_SZ) {
        return bytes;
    }
    return wide ? ToUtf8(WideOf(bytes)) : FromAnsi(bytes);
}

void AddValue(StoredKey& key, const RegistryValue& value) {
    if (key.values.size() == kMost) {
        throw std::runtime_error(key.path + ": more than 100,000 values");
    }
    key.values[LowerCase(value.name)] = value;
}

void AddLiveRegistry(const std::string& path, Registry& registry) {
    const std::string fullPath = FromAnsi("HKEY_LOCAL_MACHINE\\" + path);
    RegistryKey key;
    LONG error = RegOpenKeyExA(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ, key.Receive());
    if (error == ERROR_FILE_NOT_FOUND) {
        return;
    }
    if (error == ERROR_SUCCESS) {
        error = AddLiveValues(key.Get(), *AddKey(fullPath, registry));
    }
    if (error == ERROR_SUCCESS) {
        error = AddLiveKeys(key.Get(), path, registry);
    }
    if (error != ERROR_SUCCESS) {
        throw std::runtime_error(fullPath + ": error " + std::to_string(error));
    }
}
