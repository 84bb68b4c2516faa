// What "list" prints: whether a machine is sound, and what can be removed.
#pragma once

#include <string>

#include "rehearsal/catalog_health.h"

// The LSPs, the catalogs with the entries that do not work, and what to do. In UTF-8, lines with a line feed.
std::string ListText(const Machine& machine, const MachineHealth& health);
