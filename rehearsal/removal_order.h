// An order in which LSPs can be removed without breaking those that remain.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "rehearsal/verdict.h"

struct RemovalStep {
    std::optional<Product> product; // nothing for the layered entries without an LSP
    std::wstring dllName;
    Verdict verdict;
};

// Why there is no order.
enum class Obstacle { kNone, kTooManyOrCircle, kOnly32Bit, kNotFound, kBreaks };

struct RemovalOrder {
    std::vector<RemovalStep> steps; // from the top down; empty when there is no order
    Obstacle obstacle = Obstacle::kNone;
    Product inTheWay = {}; // the product of the obstacle
    int runs = 0; // when the same command, run that often, breaks nothing in the end; 0 when that is not so
};

// Looks for the order in which the LSPs over the target, and then the target, can be removed, by rehearsing
// each step on the catalogs that the step before left. Each step of an order is CLEAN or INCOMPLETE.
RemovalOrder FindRemovalOrder(const Rehearsal& rehearsal);
