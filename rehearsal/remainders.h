// What of the removed product would remain.
#pragma once

#include <string>
#include <vector>

#include "machine/machine_change.h"
#include "simulation/foreseen_removal.h"

struct Remainder {
    std::string text;            // a sentence
    std::string deletable;       // a file that a person can delete by hand afterwards; empty for none
    bool inCatalog = false;      // whether it is an entry, which only an uninstaller or the reset removes
    bool byRunningAgain = false; // whether the same command removes it
};

// Finds what would remain.
//   dllName  in UTF-8
std::vector<Remainder> FindRemainders(const Machine& machine, const Foreseen& foreseen,
                                      const MachineChange& change, const std::string& dllName);
