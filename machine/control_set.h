// Which of the keys of a registry has the Winsock catalogs.
#pragma once

#include <string>

#include "machine/registry.h"

// The key of the catalogs, below HKEY_LOCAL_MACHINE.
constexpr char kWinsockParametersKey[] = "SYSTEM\\CurrentControlSet\\Services\\WinSock2\\Parameters";

// Whether a key is one that the catalogs are found by, or belongs to them.
bool IsOfCatalogs(const std::string& key);

// The key of the catalogs, which ends with "\Parameters"; the key itself can be missing in an export of a
// part of it. Of several control sets it is the one that Windows uses. Empty where there are no catalogs.
// Throws std::runtime_error, with the keys, for catalogs below another root, for those of several machines,
// and where the registry does not say which control set Windows uses.
std::string FindParameters(const Registry& registry);
