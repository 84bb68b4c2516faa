// Random machines: sound ones, damaged ones, and catalogs that no Windows would write.
#pragma once

#include <map>
#include <random>
#include <set>
#include <string>

#include "machine/machine.h"

using Random = std::mt19937;

// A number from 0 on, below a limit.
DWORD Below(Random& random, size_t limit);

// The file that 64-bit or 32-bit programs open for one of the paths of the random machines; empty where no
// file is looked at.
std::string FileIn(const std::wstring& path, bool is32);

struct RandomMachine {
    Catalogs catalogs;                   // each entry has a number of its own as dwMessageSize
    NamespaceProvider provider;          // the only one
    std::map<std::string, DWORD> counts; // the shared counts, by path
    std::string dllName;                 // to be removed: mostly one that an LSP has
    bool live;                           // whether it is to be read from the disk: files can be missing there
};

// Makes a machine. Its size grows with the round. Odd rounds are sound. In a third of the others the 32-bit
// catalog is one of its own, ids are 0 to 8, and files are missing.
RandomMachine MakeRandomMachine(Random& random, int round);

// A machine as a reader would describe it.
Machine DescriptionOf(const RandomMachine& random);

// Writes the files that a random machine has, and removes those that are missing. Only what differs is
// written.
void UseFiles(const RandomMachine& machine, Random random);

// Those of the files of the random machines that exist; and keeps only these, of which one that is missing is
// written.
std::set<std::string> ExistingFiles();
void KeepFiles(const std::set<std::string>& files);

// Writes the shared counts of a machine, and no others.
void UseCounts(const std::map<std::string, DWORD>& counts);

// Entries with any ids, lengths and names.
Catalog HostileCatalog(Random& random);
