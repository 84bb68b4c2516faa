// Keys and values of a registry, wherever they were read from.
#pragma once

#include <windows.h>

#include <deque>
#include <map>
#include <string>

struct RegistryValue {
    DWORD type;
    std::string bytes; // a text is in UTF-8, without its terminator
    std::string name;
};

struct StoredKey {
    std::string path;                            // "HKEY_LOCAL_MACHINE\..."
    std::string lowered;                         // the same in lower case
    std::map<std::string, RegistryValue> values; // by name in lower case
};

struct Registry {
    std::deque<StoredKey> keys;               // in the order of enumeration, each once
    std::map<std::string, StoredKey*> byPath; // in lower case
};

// Adds a key. Returns it, or null when the registry has it already. Throws std::runtime_error for the
// 100,001st, as AddValue does for a value.
StoredKey* AddKey(const std::string& path, Registry& registry);

// Returns a key; null when the registry lacks it.
const StoredKey* FindKey(const Registry& registry, const std::string& path);

// Returns a value; null when the registry lacks it, or its key.
const RegistryValue* FindValue(const Registry& registry, const std::string& path, const std::string& name);

// The bytes of a value as they are stored: a text becomes UTF-8 and ends at its terminator, if it has one.
//   wide  whether a text is in UTF-16, not in the ANSI code page
std::string DecodedValue(DWORD type, const std::string& bytes, bool wide);

// Adds a value, and replaces one of the same name.
void AddValue(StoredKey& key, const RegistryValue& value);

// Adds a key of HKEY_LOCAL_MACHINE of the machine that the program runs on, with all subkeys and values. A
// key that is missing adds nothing. Throws std::runtime_error, with the key, for one that cannot be read.
//   path  below the root
void AddLiveRegistry(const std::string& path, Registry& registry);
