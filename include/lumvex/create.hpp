// Creating documents in-process: without any registration, or, on Windows in a program that links lumvex_client, by the
// registered server.
#pragma once

#include "lumvex/automation.hpp"
#include "lumvex/export.hpp"

// A new, empty document of a creatable class (lumvex::kClassOfProject, ...) by one of its interfaces. The reference is
// the caller's. REGDB_E_CLASSNOTREG for any other class, and where the server is not registered; E_NOINTERFACE for an
// interface it does not offer. A thread need not have entered an apartment.
extern "C" LUMVEX_API HRESULT LumvexCreateInstance(REFCLSID clsid, REFIID iid, void** object);
