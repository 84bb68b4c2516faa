// The Winsock catalogs and namespace providers that a registry has.
#pragma once

#include <string>

#include "machine/machine.h"
#include "machine/registry.h"

// Adds the catalogs and namespace providers, and a gap or a warning, with the key, for each thing that
// Windows would not have written. An export of the protocol catalogs alone leaves the namespace providers
// unknown. Throws std::runtime_error, with the key, for catalogs that cannot be read, and for an export
// without any entry.
//   parameters  the key of the catalogs, see FindParameters
void AddRegistryCatalogs(const Registry& registry, const std::string& parameters, Machine& machine);
