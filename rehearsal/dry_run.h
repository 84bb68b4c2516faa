// Runs the product's removal code on a copy of the catalogs.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "machine/machine.h"

// What the command does with the DLL of the LSP that it found.
struct DllFate {
    bool exists = false;   // whether the command finds it
    bool deleted = false;  // now or at the next restart
    DWORD sharedCount = 1; // that the command reads, before the removal; 1 where there is none
};

struct DryRun {
    Catalogs after;                     // the catalogs afterwards
    std::vector<std::string> trace;     // the messages, in UTF-8, without stamps and line ends
    std::optional<CatalogEntry> target; // the hidden entry of the LSP that has the name; nothing for orphans
    std::wstring dllPath;               // of the LSP that was found; empty where none was, and for orphans
    bool found = false;                 // whether there was anything with that name
    DllFate file;
};

// The key in Machine::sharedCounts of a path: the text with which the command looks for its count.
std::string CountKey(const std::wstring& path);

// Decides what the command does with a DLL. It is taken to exist where the disk is another one's.
//   path  as the catalog has it
DllFate FindDllFate(const Machine& machine, const std::wstring& path);

// What "remove lsp NAME" would do to the machine.
DryRun RunDry(const Machine& machine, const std::wstring& dllName);
