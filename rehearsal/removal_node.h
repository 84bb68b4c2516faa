// The machine after some runs of the command, as the search for an order visits it.
#pragma once

#include <windows.h>

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "rehearsal/verdict.h"

// One run of the command.
struct RemovalRun {
    std::wstring dllName;
    GuidSet products;         // that it removes, by their provider ids
    std::wstring deletedFile; // as 64-bit programs open it; empty for none
};

// The machine after some runs.
struct RemovalNode {
    Flags present64;
    Flags present32;
    std::set<std::wstring> deleted;      // see FileOn
    std::map<std::string, DWORD> counts; // see Machine
    std::vector<RemovalRun> runs = {};
    bool safe = true; // whether a step can end here
};

// What does not change during a search.
struct RemovalSearch {
    const Rehearsal& rehearsal;
    MachineHealth start;
    std::vector<std::wstring> names; // of the LSPs over the target, those on top first, and of the target
    std::vector<size_t> targets;     // the entries of the 64-bit catalog that have to be removed
    bool regular;                    // see IsRegular
    ULONGLONG begun;                 // the processor time at the beginning, in milliseconds
    ULONGLONG begunAt;               // the tick count at the beginning
};

const CatalogFacts& Facts64(const RemovalSearch& search);

// The path that Windows gives for an LSP of a catalog.
const std::wstring& PathOf(const Catalog& catalog, const CatalogEntry& lsp);

// The machine before any run.
RemovalNode StartOf(const RemovalSearch& search);

// The node that a run leads to; nothing when the run removes nothing.
std::optional<RemovalNode> NodeAfter(const RemovalSearch& search, const RemovalNode& node,
                                     const std::wstring& dllName);

// Whether each LSP is recognised by a name, ids and a file of its own, in both catalogs. Then each run
// removes one LSP whole, and LSPs have nothing in common but the chains.
bool IsRegular(const MachineHealth& health, const Machine& machine);

// The LSPs of regular catalogs that have to be removed besides the target: those that stop working when the
// others are removed.
GuidSet FindNeeded(const RemovalSearch& search, const GUID& target);
