// Which class owns which, as the record tables say it.
#pragma once

#include <map>
#include <set>
#include <vector>

#include "core/objects/object.hpp"

namespace lumvex::inside {

class ClassGraph {
public:
    ClassGraph();

    // The item or root class whose objects own a collection of this class; null where none does.
    const ClassInfo* OwnerOf(const ClassInfo& collection) const;
    // The collection class whose members are of this class; null where there is none.
    const ClassInfo* CollectionOf(const ClassInfo& item) const;
    // The root class of the documents that have objects of this class; null where that is not certain.
    const ClassInfo* RootOf(const ClassInfo& any) const;
    // Documents are mostly saved from the root down: an owner, its first list, the list's first member with all that is
    // below it, the second member. How near the second class is to the first one in this order, from 4 for what comes
    // directly below or beside it; 0: it does not come next.
    int Nearness(const ClassInfo& before, const ClassInfo& behind) const;

private:
    std::map<const ClassInfo*, const ClassInfo*> owners_, collections_;
    std::map<const ClassInfo*, std::vector<const ClassInfo*>> children_;  // of items and roots, in their order
};

}  // namespace lumvex::inside
