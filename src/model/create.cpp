// The native way to the creatable classes.
#include "lumvex/create.hpp"

#include "core/objects/guard.hpp"
#include "core/objects/object.hpp"

HRESULT LumvexCreateInstance(REFCLSID clsid, REFIID iid, void** object) {
    using namespace lumvex;
    using namespace lumvex::inside;
    if (!object) return E_POINTER;
    *object = nullptr;
    return Guarded({}, [&]() -> HRESULT {
        const ClassInfo* known = FindClass(clsid);
        if (!known || known->kind != ClassKind::Root) return REGDB_E_CLASSNOTREG;
        return known->create()->Dispatch()->QueryInterface(iid, object);
    });
}
