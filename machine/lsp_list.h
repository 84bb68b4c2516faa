// The LSPs of a machine, by the names under which a person or the command finds them. All texts are UTF-8.
#pragma once

#include <string>
#include <vector>

#include "machine/winsock_state.h"

// The DLL name by which the command finds an LSP.
std::string DllNameOf(const SimulatedEntry& lsp);

// The DLL names of the LSPs that the command can find, each once.
std::vector<std::string> DllNames(const WinsockState& state);

// A DLL name as it is typed on a command line, printable.
std::string Typed(const std::string& dllName);

// The command that removes an LSP, as it is typed.
std::string CommandFor(const std::string& dllName);

// What to say about a DLL name that no LSP has: the names that there are, the nearest first.
std::string SuggestNames(const WinsockState& state, const std::string& dllName);

// A line for each LSP: its name, its DLL name as it is typed, its folder, and the catalogs that have it.
std::vector<std::string> DescribeLsps(const WinsockState& state);
