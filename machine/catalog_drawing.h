// Draws catalogs as chains.
#pragma once

#include <string>

#include "machine/winsock_state.h"

// Both catalogs: each provider with its DLL, each layered entry with its chain from the top down to the base, and the ids in
// chains that no entry has. In UTF-8, lines with a line feed.
std::string DrawCatalogs(const WinsockState& state);
