// What roots, collections and items share as parts of one tree: going through what is below them and what links to
// them.
#pragma once

#include "core/published/enumerator.hpp"

namespace lumvex::inside {

class TreeObject : public Object {
public:
    // The items below, depth first; each once, even if a broken file repeats it. Throws 4009 when the object is
    // orphaned.
    std::vector<EnumeratedObject> ItemsBelow();

    // The plain members behind the published enumerators of descendants and of dependent links.
    Ref<IUnknown> NewDescendantsEnum();
    Ref<IUnknown> NewDependentLinksEnum();
};

}  // namespace lumvex::inside
