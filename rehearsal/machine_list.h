// What "list" prints: whether a machine is sound, and what can be removed.
#pragma once

#include <string>

#include "machine/machine_change.h"

// The LSPs, the catalogs with the entries that do not work, and what to do. In UTF-8, lines with a line feed.
std::string WriteList(const Machine& machine, const MachineChange& present);
