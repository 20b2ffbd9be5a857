// What every object offers on a platform with a component model beside its own interfaces: its description in the type
// library, and marshalling to other threads. On other platforms it offers neither.
#pragma once

#include "core/objects/class_info.hpp"

namespace lumvex::inside {

// How many descriptions an object has: one, or none where the module carries no type library.
UINT TypeInfoCount();

// The description of a published interface. The reference is the caller's; null on failure.
HRESULT TypeInfoOf(REFIID interfaceId, ITypeInfo** info);

// One of the interfaces that the platform adds to an object, with a reference for the caller; E_NOINTERFACE and null
// for any other. `info` is null for objects that are not part of the tree.
HRESULT PlatformInterface(IDispatch& object, REFIID interfaceId, const ClassInfo* info, REFIID iid,
                          void** found) noexcept;

}  // namespace lumvex::inside
