// The Winsock catalogs, namespace providers and shared counts that a registry has.
#pragma once

#include "machine/machine.h"
#include "machine/registry.h"

// The key of the catalogs, below HKEY_LOCAL_MACHINE.
constexpr char kWinsockParametersKey[] = "SYSTEM\\CurrentControlSet\\Services\\WinSock2\\Parameters";

// Whether a registry has catalogs. Throws std::runtime_error, with the key, for a part of them and for
// another root.
bool HasCatalogs(const Registry& registry);

// Adds the catalogs and namespace providers, and a warning, with the key, for each thing that Windows would
// not have written. Throws std::runtime_error, with the key, for catalogs that cannot be read.
void AddRegistryCatalogs(const Registry& registry, Machine& machine);

// Adds the shared counts. Returns whether the registry has their key.
bool AddSharedCounts(const Registry& registry, Machine& machine);
