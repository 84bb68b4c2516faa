// The state of a machine before a removal: its catalogs, namespace providers and shared counts.
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "machine/catalog.h"
#include "machine/windows_path.h"

struct NamespaceProvider {
    std::string name;
    std::string path;    // of its DLL; empty where it is not known
    bool is32;           // whether 32-bit programs use it
    bool enabled = true; // whether it is asked at all
};

// A shared count, as it is stored.
struct SharedCount {
    std::string path;
    DWORD count;
    bool isRead; // whether the command can read it: a REG_DWORD of the 64-bit view
};

struct Machine {
    std::string name;             // of the computer, or of the files that describe the machine
    bool live = false;            // whether it is this machine, whose disk can be looked at
    bool fromListing = false;     // whether the catalogs are those that netsh printed
    bool hasCatalogs = false;     // whether anything described them; they can be empty
    bool hasCounts = false;       // the same for the shared counts of the 64-bit view
    bool hasCounts32 = false;     // the same for those of the 32-bit view
    bool knowsNamespaces = false; // whether the files of the namespace providers are known
    Folders folders = AssumedFolders();
    Catalogs catalogs;
    std::vector<NamespaceProvider> namespaces;
    std::map<std::string, DWORD> sharedCounts; // those that the command reads, by path in lower case
    std::vector<SharedCount> storedCounts;     // all of both views
    std::set<std::wstring>
        deletedFiles;                  // files that earlier steps of a rehearsal deleted, as FileOf has them
    std::vector<std::string> gaps;     // what the description lacks, so that nothing can be concluded from it
    std::vector<std::string> warnings; // what is damaged or unusual; all with the key, or with file and line
};

// The file that a program of the machine opens for a path, as FileOf has it. On this machine short names are
// resolved.
std::wstring FileOn(const Machine& machine, const std::wstring& path, bool for32Bit);

// The same of a namespace provider; empty where its path is not known.
std::wstring FileOfNamespace(const Machine& machine, const NamespaceProvider& provider);
