// The enumerator behind every _NewEnum and Enum property: dispatch variants over a snapshot of IDs, each object loaded
// when it is reached. What has left the document since the snapshot is passed over.
#pragma once

#include <vector>

#include "core/object.hpp"

namespace lumvex::inside {

// An IEnumVARIANT that keeps `owner` alive and resolves the document through it.
Ref<IUnknown> MakeEnumerator(Object& owner, std::vector<GUID> ids);

}  // namespace lumvex::inside
