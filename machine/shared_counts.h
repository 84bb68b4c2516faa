// The shared counts of a registry: how many products use a file.
#pragma once

#include "machine/machine.h"
#include "machine/registry.h"

// The key of the shared counts of 32-bit programs, below HKEY_LOCAL_MACHINE.
constexpr char kSharedDlls32Key[] = "SOFTWARE\\Wow6432Node\\Microsoft\\Windows\\CurrentVersion\\SharedDLLs";

// Whether a key has shared counts, for 64-bit or 32-bit programs.
bool IsOfSharedCounts(const std::string& key);

// Adds the shared counts. Returns whether the registry has a key of them.
bool AddSharedCounts(const Registry& registry, Machine& machine);
