// The verdict on a rehearsed removal, and the findings that it follows from.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "rehearsal/catalog_change.h"
#include "rehearsal/dry_run.h"
#include "rehearsal/product.h"
#include "rehearsal/remainders.h"

// In rising order; a verdict is the highest that applies. The numbers are the exit codes.
enum class Verdict { kClean = 0, kNothingToDo = 2, kIncomplete = 3, kBreaksNetworking = 4 };

// What programs notice of a product that stops working.
enum class Harm {
    kConnections, // its layers remain and cannot be used
    kUse,         // so does a base provider
    kBaseRemoved, // a base provider is removed, too
    kLspRemoved,  // an entry of another LSP is removed, too
    kLookups      // the file of a namespace provider is deleted
};

// A product that would stop working, in one way.
struct Broken {
    Product product;
    Harm harm;
    bool in64 = false; // whether 64-bit programs notice it
    bool in32 = false; // the same of 32-bit programs
};

// Finds what a removal harms besides the LSPs that are to be removed.
//   isTarget  whether an LSP is to be removed, by its hidden entry
std::vector<Broken> FindBroken(const Machine& machine, const MachineChange& change,
                               const std::function<bool(const CatalogEntry& lsp)>& isTarget);

// A rehearsed command: what it would do, and what follows from that.
struct Rehearsal {
    Machine machine;     // before the removal
    std::string dllName; // in the ANSI code page
    DryRun run;
    MachineChange change;
    std::vector<Broken> broken;
    std::vector<Remainder> remainders;
    Verdict verdict;
};

// Rehearses "remove lsp NAME" on a machine, and judges it.
//   dllName  in the ANSI code page
Rehearsal Rehearse(const Machine& machine, const std::string& dllName);
