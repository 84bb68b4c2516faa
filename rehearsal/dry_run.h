// Runs the product's removal code on a copy of the catalogs.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "machine/machine.h"

struct DryRun {
    Catalogs after;                     // the catalogs afterwards
    std::vector<std::string> trace;     // the messages, in UTF-8, without stamps and line ends
    std::optional<CatalogEntry> target; // the hidden entry of the LSP that has the name; nothing for orphans
    std::wstring dllPath;               // of the LSP that was found; empty where none was, and for orphans
    bool found = false;                 // whether there was anything with that name
    bool fileExists = false;            // whether the command finds the DLL
    bool fileDeleted = false;           // whether the DLL is deleted, now or at the next restart
    DWORD sharedCount = 1;              // of that DLL, before the removal; 1 where there is none
};

// What "remove lsp NAME" would do to the machine. The DLL is taken to exist where the disk is another one's.
//   dllName  in the ANSI code page
DryRun RunDry(const Machine& machine, const std::string& dllName);
