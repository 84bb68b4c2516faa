// What of the removed product would remain.
#pragma once

#include <string>
#include <vector>

#include "rehearsal/catalog_change.h"
#include "rehearsal/dry_run.h"

enum class RemainderKind {
    kSharedCount, // of the deleted file, which is lowered below zero
    kDll,         // the DLL of the command
    kFile,        // of another removed entry
    kEntry,       // an LSP, or a layered entry without one
    kNamespace    // a namespace provider
};

// Why the DLL of the command remains.
enum class DllReason { kShared, kReference, kNotRooted, kCannotOpen, kCodePage };

struct Remainder {
    RemainderKind kind;
    std::wstring path = {};                    // of a file, as the catalog has it
    std::wstring opened = {};                  // the file that this path opens, for 64-bit programs
    DllReason reason = DllReason::kCannotOpen; // of kDll
    bool redirected = false;                   // of kFile: 32-bit programs open it under another path
    bool inUse = false;                        // of a file: something that remains names it
    bool deletable = false;                    // of a file: a person can delete it by hand afterwards
    bool is32 = false;                         // of kEntry
    size_t index = 0;                          // of kEntry and kNamespace
    bool hasName = false;                      // of kEntry: its DLL has the name that the command looks for
    bool byRunningAgain = false;               // of kEntry: the same command removes it
};

// Finds what would remain.
std::vector<Remainder> FindRemainders(const Machine& machine, const DryRun& run, const MachineChange& change,
                                      const std::wstring& dllName);

// The stored counts of the deleted file that the command does not find, because they have another spelling,
// another type, or are those of 32-bit programs; only counts above 1, which say that another product needs
// the file.
std::vector<SharedCount> FindIgnoredCounts(const Machine& machine, const DryRun& run);
