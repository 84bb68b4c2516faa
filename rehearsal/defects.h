// The entries of a machine that do not work.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "rehearsal/product.h"

// The entries of one product that do not work.
struct Defect {
    Product product;
    FaultReason reason; // the nearest to the cause, without ids
    size_t entries = 0; // how many, in both catalogs together
    bool in64 = false;  // the catalogs that have them
    bool in32 = false;
    bool isOrphan = false; // whether the command removes them with the layered entries without an LSP
    std::optional<std::wstring> dllName; // by which the command removes their LSP; nothing if it cannot
};

// The entries that do not work as the machine is, by product.
std::vector<Defect> FindDefects(const MachineHealth& health);

// Whether the machine has an entry that does not work, or a catalog without a base provider.
bool HasDefects(const MachineHealth& health);
