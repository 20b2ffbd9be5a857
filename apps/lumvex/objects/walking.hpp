// Going through the objects of a document.
#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "objects/node.hpp"

namespace lumvex::app {

// Told of a member that cannot be read: which one it is and why, "member 2 of Data cannot be read: ...".
using Unreadable = std::function<void(const std::string& problem)>;

// The member at a place, from 1. One that cannot be read is told, and the answer is empty.
Node ReadableMember(const Node& collection, LONG place, const Unreadable& unreadable);

// Calls visit(item) for the object, unless it is a collection or root, and for each item below it, owners first.
// Members that cannot be read are told and left out with all that is below them; where nobody is to be told, the Error
// is thrown.
void ForEachItem(const Node& from, const std::function<void(const Node&)>& visit, const Unreadable& unreadable = {});

// The objects without those that are below another of them or there twice, in their order.
std::vector<Node> Outermost(const std::vector<Node>& objects);

// The items of two trees of the same form, such as an item and its copy, in pairs.
using NodePairs = std::vector<std::pair<Node, Node>>;
NodePairs PairsOf(const Node& original, const Node& copy);

}  // namespace lumvex::app
