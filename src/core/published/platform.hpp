// What the platform's component model lets every object offer beside its own interfaces: its description in the type
// library, and the way to other threads. Where there is no component model there is nothing.
#pragma once

#include "core/objects/class_info.hpp"

namespace lumvex::inside {

// How many descriptions an object has: one, or none where the module carries no type library.
UINT TypeInfoCount();

// The description of a published interface. The reference is the caller's; null on failure.
HRESULT TypeInfoOf(REFIID interfaceId, ITypeInfo** info);

// An interface that the platform wants of an object, with a reference for the caller; E_NOINTERFACE and null for all that
// it does not know. `info` is null for objects outside the tree.
HRESULT PlatformInterface(IDispatch& object, REFIID interfaceId, const ClassInfo* info, REFIID iid,
                          void** found) noexcept;

}  // namespace lumvex::inside
