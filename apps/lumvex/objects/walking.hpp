// Going through the objects of a document.
#pragma once

#include <functional>
#include <utility>
#include <vector>

#include "objects/node.hpp"

namespace lumvex::app {

// Calls visit(item) for the object, unless it is a collection or root, and for each item below it, owners first.
void ForEachItem(const Node& from, const std::function<void(const Node&)>& visit);

// The items of two trees of the same form, such as an item and its copy, in pairs.
using NodePairs = std::vector<std::pair<Node, Node>>;
NodePairs PairsOf(const Node& original, const Node& copy);

}  // namespace lumvex::app
