// Keys and values of a registry, wherever they were read from.
#pragma once

#include <windows.h>

#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

struct RegistryValue {
    DWORD type;
    std::string bytes; // a text is in UTF-8, without its terminator
};

struct Registry {
    std::vector<std::string> keys;     // in the order of enumeration: "HKEY_LOCAL_MACHINE\...", each once
    std::set<std::string> loweredKeys; // the same in lower case
    std::map<std::pair<std::string, std::string>, RegistryValue> values; // by key and name, in lower case
};

// Adds a key. Returns false when the registry has it already.
bool AddKey(const std::string& path, Registry& registry);

// Adds a value. A text becomes UTF-8 and ends at its terminator, if it has one.
//   key, name  UTF-8
//   wide       whether a text is in UTF-16, not in the ANSI code page
void AddValue(const std::string& key, const std::string& name, DWORD type, const std::string& bytes,
              bool wide, Registry& registry);

// Adds a key of HKEY_LOCAL_MACHINE of the machine that the program runs on, with all subkeys and values. A key
// that is missing adds nothing. Throws std::runtime_error, with the key, for one that cannot be read.
//   path  below the root
void AddLiveRegistry(const std::string& path, Registry& registry);
