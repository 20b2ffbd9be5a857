// The shape of a new directory tree.
#pragma once

#include <cstdint>

#include "generic/long_vector.hpp"
#include "storage/compound/format/format.hpp"

namespace lumvex::compound {

// A red-black tree of the numbers below count, as shallow as it can be.
struct BalancedTree {
    explicit BalancedTree(std::uint32_t count);

    struct Node {
        EntryId left = kNoEntry, right = kNoEntry;
        Colour colour = Colour::Black;
    };
    LongVector<Node> nodes;           // by number
    LongVector<std::uint32_t> order;  // the numbers in an order in which a path from the top crosses few pages
    EntryId top = kNoEntry;
};

}  // namespace lumvex::compound
