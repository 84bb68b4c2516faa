// Keys and values of a registry: of an export, or of the machine that this runs on.
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

struct RegistryPicture {
    std::vector<std::string> keys;     // in the order of enumeration: "HKEY_LOCAL_MACHINE\...", each once
    std::set<std::string> loweredKeys; // the same in lower case
    std::map<std::pair<std::string, std::string>, RegistryValue> values; // by key and name, in lower case
};

// Whether a file's content begins as an export of the registry does.
bool IsRegistryExport(const std::string& content);

// Adds what an export has: UTF-16 with a byte order mark, or ANSI. Throws std::runtime_error whose text begins with the number
// of the line that is wrong.
void AddRegistryExport(const std::string& content, RegistryPicture& picture);

// Adds a key of HKEY_LOCAL_MACHINE with all that is below it. A key that is not there adds nothing. Throws
// std::runtime_error, with the key, for one that cannot be read.
//   path  below the root
void AddLiveRegistry(const std::string& path, RegistryPicture& picture);
