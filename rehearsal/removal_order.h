// An order in which LSPs can be removed without breaking what remains.
#pragma once

#include <vector>

#include "rehearsal/removal_node.h"

constexpr size_t kMostRuns = 50; // of an order

// How the search for an order ended.
enum class OrderSearch {
    kFound,
    kNone,   // there is none
    kOnly32, // there is none, and an LSP over the target is in the 32-bit catalog alone
    kGivenUp // none was found within the time or the number of runs
};

struct RemovalOrder {
    std::vector<RemovalRun> runs; // empty unless one was found
    OrderSearch search = OrderSearch::kNone;
    std::vector<Product> products =
        {};                // that the runs remove, or, without an order, the LSP with the name and
                           // those over it; a product before those that it lies over
    Product inTheWay = {}; // of kOnly32
};

// Looks for the order with the fewest runs that removes the target. A step is one or more runs with one name;
// at the end of each step everything works that remains and worked before. The names are those of the LSPs
// over the target, that of the target, and the empty name while there are layered entries without an LSP.
// Every order of at most five runs is found, and longer ones where LSPs lie over one another without a name,
// an id or a file in common.
RemovalOrder FindRemovalOrder(const Rehearsal& rehearsal);
