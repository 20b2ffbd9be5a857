// The enumerator behind every _NewEnum and Enum property. It goes through a snapshot of IDs and loads each object when
// it is reached; objects that have left the document since the snapshot are passed over.
#pragma once

#include <vector>

#include "core/objects/object.hpp"

namespace lumvex::inside {

// An object to be enumerated, and its owner, so that its parent need not be searched for; the zero GUID where the owner
// is not known.
struct EnumeratedObject {
    GUID id, owner;
};

// An IEnumVARIANT that keeps `source` alive and resolves the document through it.
Ref<IUnknown> MakeEnumerator(Object& source, std::vector<EnumeratedObject> objects);
// The same for the members of a collection.
Ref<IUnknown> MakeMemberEnumerator(Object& collection, References members);

}  // namespace lumvex::inside
