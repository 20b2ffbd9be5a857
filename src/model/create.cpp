// The native way to the creatable classes.
#include "lumvex/create.hpp"

#include "core/guard.hpp"
#include "lumvex/interfaces.hpp"
#include "model/project/Project.hpp"

HRESULT LumvexCreateInstance(REFCLSID clsid, REFIID iid, void** object) {
    using namespace lumvex;
    using namespace lumvex::inside;
    if (!object) return E_POINTER;
    *object = nullptr;
    return Guarded({}, [&]() -> HRESULT {
        if (!IsEqualGUID(clsid, kClassOfProject)) return REGDB_E_CLASSNOTREG;
        return CProject::Create()->Dispatch()->QueryInterface(iid, object);
    });
}
