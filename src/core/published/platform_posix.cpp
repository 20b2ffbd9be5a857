#include "core/published/platform.hpp"

namespace lumvex::inside {

UINT TypeInfoCount() { return 0; }

HRESULT TypeInfoOf(REFIID, ITypeInfo** info) {
    *info = nullptr;
    return TYPE_E_ELEMENTNOTFOUND;
}

HRESULT PlatformInterface(IDispatch&, REFIID, const ClassInfo*, REFIID, void** found) noexcept {
    *found = nullptr;
    return E_NOINTERFACE;
}

}  // namespace lumvex::inside
