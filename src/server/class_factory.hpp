// The class objects of the creatable classes.
#pragma once

#include "core/objects/object.hpp"

namespace lumvex::inside {

// CLASS_E_CLASSNOTAVAILABLE for a class that cannot be created.
HRESULT GetClassFactory(REFCLSID clsid, REFIID iid, void** object) noexcept;

}  // namespace lumvex::inside
