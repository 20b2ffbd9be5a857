// Which class owns which, as the record tables say it.
#pragma once

#include <map>
#include <set>

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

private:
    std::map<const ClassInfo*, const ClassInfo*> owners_, collections_;
};

}  // namespace lumvex::inside
