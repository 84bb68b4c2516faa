// The entries of a machine that do not work.
#pragma once

#include <string>
#include <vector>

#include "rehearsal/product.h"

// An entry that does not work.
struct Defect {
    Product entry;   // the entry itself, without its DLL
    Product product; // that it belongs to
    DWORD id;        // of the entry
    FaultReason reason;
    bool hasOwner;        // whether it is a layered entry of an LSP
    bool isOrphan;        // whether the command removes it with the layered entries without an LSP
    std::wstring dllName; // by which the command removes its LSP; empty where that is not possible
    bool in64 = false;    // the catalogs that have it
    bool in32 = false;
};

// The entries that do not work as the machine is, each once where both catalogs have it alike.
std::vector<Defect> FindDefects(const MachineHealth& health);
