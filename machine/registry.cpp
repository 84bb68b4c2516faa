#include "machine/registry.h"

#include <stdexcept>

#include "common/owned.h"
#include "machine/text.h"

namespace {

// Returns the error that stopped it; ERROR_SUCCESS for none. So does the next one.
LONG AddLiveValues(HKEY key, const std::string& path, Registry& registry) {
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
            AddValue(path, FromAnsi(name.substr(0, nameLength)), type, data.substr(0, size), false, registry);
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

bool AddKey(const std::string& path, Registry& registry) {
    const bool added = registry.loweredKeys.insert(LowerCase(path)).second;
    if (added) {
        registry.keys.push_back(path);
    }
    return added;
}

void AddValue(const std::string& key, const std::string& name, DWORD type, const std::string& bytes,
              bool wide, Registry& registry) {
    std::string content = bytes;
    if (type == REG_SZ || type == REG_EXPAND_SZ) {
        content = wide ? ToUtf8(WideOf(bytes)) : FromAnsi(bytes);
    }
    registry.values[{LowerCase(key), LowerCase(name)}] = {type, content};
}

void AddLiveRegistry(const std::string& path, Registry& registry) {
    const std::string fullPath = FromAnsi("HKEY_LOCAL_MACHINE\\" + path);
    RegistryKey key;
    LONG error = RegOpenKeyExA(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ, key.Receive());
    if (error == ERROR_FILE_NOT_FOUND) {
        return;
    }
    if (error == ERROR_SUCCESS) {
        AddKey(fullPath, registry);
        error = AddLiveValues(key.Get(), fullPath, registry);
    }
    if (error == ERROR_SUCCESS) {
        error = AddLiveKeys(key.Get(), path, registry);
    }
    if (error != ERROR_SUCCESS) {
        throw std::runtime_error(fullPath + ": error " + std::to_string(error));
    }
}
