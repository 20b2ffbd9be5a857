// The enumerator behind every _NewEnum and Enum property: dispatch variants over a snapshot of IDs, each object loaded
// when it is reached. What has left the document since the snapshot is passed over.
#pragma once

#include <vector>

#include "core/objects/object.hpp"

namespace lumvex::inside {

// An object to be enumerated and the one that owns it, so that its parent need not be searched for; the zero GUID where
// that is not known.
struct Descendant {
    GUID id, owner;
};

// An IEnumVARIANT that keeps `source` alive and resolves the document through it.
Ref<IUnknown> MakeEnumerator(Object& source, std::vector<Descendant> objects);

}  // namespace lumvex::inside
