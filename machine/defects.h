// The entries of a machine that do not work, and what to do about them.
#pragma once

#include <string>
#include <vector>

#include "machine/machine_change.h"

// An entry that does not work.
struct Defect {
    std::string
        text; // "1021 Filter over Example TCP, of Filter (filterlsp.dll): it names the missing id 1011"
    std::string dllName; // by which the command removes its LSP; empty where that is not possible
    bool isOrphan;       // whether the command removes it with the layered entries without an LSP
};

// The entries that do not work as the machine is, each once where both catalogs have it alike.
std::vector<Defect> FindDefects(const MachineChange& present);

// How many entries do not work, in both catalogs together.
size_t CountDefects(const MachineChange& present);

// What to do about entries that do not work: a sentence each.
std::vector<std::string> AdviseOnDefects(const std::vector<Defect>& defects);

// Why an entry does not work; see WhyNotWorking.
std::string WhyNot(const CatalogChange& present, size_t index);
