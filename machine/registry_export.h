// Registry exports, as "reg export" and older programs write them.
#pragma once

#include <string>

#include "machine/registry.h"

// Whether a file's content begins as a registry export does.
bool IsRegistryExport(const std::string& content);

// Adds the keys and values of a registry export: UTF-16 with a byte order mark, or ANSI. Throws
// std::runtime_error whose text begins with the number of the line that is wrong.
void AddRegistryExport(const std::string& content, Registry& registry);
