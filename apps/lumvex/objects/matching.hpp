// Which objects of two documents are the same object: those of one ID, and of the others those of one address.
#pragma once

#include <string_view>
#include <vector>

#include "objects/walking.hpp"

namespace lumvex::app {

class Matching {
public:
    // Of what is below an address. Where only one of the documents has it, all of it is added or removed. Throws
    // FileError when neither has it. What cannot be read of a document is told and left out.
    Matching(const Node& before, const Node& after, std::string_view address, const Unreadable& unreadableBefore,
             const Unreadable& unreadableAfter);

    const NodePairs& Pairs() const { return pairs_; }              // in the newer document's order
    const std::vector<Node>& Removed() const { return removed_; }  // only in the older one
    const std::vector<Node>& Added() const { return added_; }      // only in the newer one

private:
    NodePairs pairs_;
    std::vector<Node> removed_, added_;
};

}  // namespace lumvex::app
