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
    std::string path; // of its DLL; empty where it is not known
    bool is32;        // whether 32-bit programs use it
};

struct Machine {
    std::string name;         // of the computer, or of the files that describe the machine
    bool live = false;        // whether it is this machine, whose disk can be looked at
    bool fromListing = false; // whether the catalogs are those that netsh printed
    bool incomplete = false;  // whether a catalog entry, or its path, could not be read
    bool hasCatalogs = false; // whether anything described them; they can be empty
    bool hasCounts = false;   // the same for the shared counts
    Folders folders = AssumedFolders();
    Catalogs catalogs;
    std::vector<NamespaceProvider> namespaces;
    std::map<std::string, DWORD> sharedCounts; // by path in lower case
    std::set<std::wstring>
        deletedFiles;                  // files that earlier steps of a rehearsal deleted, as FileOf has them
    std::vector<std::string> warnings; // what is damaged or unusual, each with its key or its file and line
};

// The file of a namespace provider, as FileOf has it; empty where it is not known.
std::wstring FileOfNamespace(const NamespaceProvider& provider, const Folders& folders);
