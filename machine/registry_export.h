// Registry exports, as "reg export" and older programs write them.
#pragma once

#include <string>

#include "machine/registry.h"

// Whether a text begins as a registry export does.
bool IsRegistryExport(const std::string& text);

// Adds keys of a registry export with their values. Throws std::runtime_error whose text begins with the
// number of the line that is wrong.
//   text      UTF-8
//   isNeeded  whether a key is added. An export can have a whole hive
void AddRegistryExport(const std::string& text, bool (*isNeeded)(const std::string& key), Registry& registry);
