// The registry of the machine that the program runs on.
#pragma once

#include <string>

#include "machine/registry.h"

// Adds a key of HKEY_LOCAL_MACHINE with all subkeys and values. A key that is missing adds nothing. Throws
// std::runtime_error, with the key, for one that cannot be read.
//   path  below the root
void AddLiveRegistry(const std::string& path, Registry& registry);
