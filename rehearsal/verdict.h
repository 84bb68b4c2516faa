// The verdict on a rehearsed removal, and the findings that it follows from.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "rehearsal/catalog_change.h"
#include "rehearsal/dry_run.h"
#include "rehearsal/product.h"
#include "rehearsal/remainders.h"

// The numbers are the exit codes.
enum class Verdict {
    kClean = 0,
    kNotFound = 2,
    kLeavesParts = 3,
    kBreaksNetworking = 4,
    kCannotRemove = 6,
    kCannotTell = 7
};

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

// Whether an LSP is one that is to be removed, by its hidden entry.
using IsTarget = std::function<bool(const CatalogEntry& lsp, bool is32)>;

// Receives what stops working. Returns whether to look for more.
using HarmVisitor = std::function<bool(const Product& product, Harm harm, bool is32)>;

// Finds all that a removal harms: what worked before and does not work afterwards, but for entries of a
// target. The verdict and the order of removals follow from it.
void ForEachHarm(const Machine& machine, const MachineChange& change, const IsTarget& isTarget,
                 const HarmVisitor& visit);

// Whether an LSP is the one that a rehearsed command is to remove: the target, or the same product in the
// 32-bit catalog.
bool IsTargetOf(const DryRun& run, const CatalogEntry& lsp, bool is32);

// A rehearsed command: what it would do, and what follows from that.
struct Rehearsal {
    Machine machine; // before the removal
    std::wstring dllName;
    DryRun run;
    MachineChange change;
    std::vector<Broken> broken;
    std::vector<Remainder> remainders;
    std::vector<SharedCount> ignoredCounts; // of the deleted file, above 1, which the command does not find
    Verdict finding;                        // what follows if the description lacks nothing
    Verdict verdict;
};

// The health of the catalogs before the removal.
MachineHealth HealthBefore(const Rehearsal& rehearsal);

// Rehearses "remove lsp NAME" on a machine, and judges it.
Rehearsal Rehearse(const Machine& machine, const std::wstring& dllName);
