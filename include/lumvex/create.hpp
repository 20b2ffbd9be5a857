// Creating documents in-process, without any registration.
#pragma once

#include "lumvex/automation.hpp"
#include "lumvex/export.hpp"

// A new, empty document of a creatable class (lumvex::kClassOfProject, ...) by one of its interfaces. The reference is
// the caller's. REGDB_E_CLASSNOTREG for any other class, E_NOINTERFACE for an interface it does not offer.
extern "C" LUMVEX_API HRESULT LumvexCreateInstance(REFCLSID clsid, REFIID iid, void** object);
