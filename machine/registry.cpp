#include "machine/registry.h"

#include <cstring>

#include "machine/utf8_text.h"

std::wstring WideOf(const std::string& bytes) {
    std::wstring wide(bytes.size() / sizeof(wchar_t), L'\0');
    std::memcpy(wide.data(), bytes.data(), wide.size() * sizeof(wchar_t));
    return wide;
}

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
