// Walking through everything below an object of the tree.
#pragma once

#include <vector>

#include "core/objects/object.hpp"

namespace lumvex::inside {

// Called with a reference, the class of what it leads to, and its owner: a collection for its members, an item or root
// for its child collections. Answers whether to go on.
using VisitReference = FunctionRef<bool(const Reference& reference, const ClassInfo& classInfo, Object& owner)>;

// Visits every reference below `top`, depth first, owners before what they own; each ID once, even if a broken file
// repeats it. Objects that own others are loaded, members that own no collections are not. The walk holds references
// only to the owners of the present place.
void WalkBelow(Object& top, const VisitReference& visit);

// The entries of everything below, in the order of the walk.
std::vector<Ref<Entry>> EntriesBelow(Object& top);

}  // namespace lumvex::inside
