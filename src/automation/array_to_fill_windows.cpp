#include "automation/element.hpp"

namespace lumvex::inside {

SAFEARRAY* CreateArrayToFill(VARTYPE type, UINT dimensions, SAFEARRAYBOUND* bounds) noexcept {
    return ::SafeArrayCreate(type, dimensions, bounds);
}

}  // namespace lumvex::inside
