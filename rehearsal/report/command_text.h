// DLL names and commands as a person types them. All texts are UTF-8 and printable.
#pragma once

#include <string>
#include <vector>

#include "machine/catalog.h"

// The DLL names of the LSPs that the command can find, each once.
std::vector<std::wstring> DllNames(const Catalogs& catalogs);

// A DLL name as it is typed on a command line.
std::string Typed(const std::wstring& dllName);

// The command that removes an LSP, as it is typed.
std::string CommandFor(const std::wstring& dllName);

// What to say about a DLL name that no LSP has: the names that there are, the nearest first.
std::string SuggestNames(const Catalogs& catalogs, const std::wstring& dllName);
