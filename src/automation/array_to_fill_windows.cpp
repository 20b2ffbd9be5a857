#include "lumvex/values.hpp"

namespace lumvex {

SAFEARRAY* CreateArrayToFill(VARTYPE type, UINT dimensions, SAFEARRAYBOUND* bounds) noexcept {
    return ::SafeArrayCreate(type, dimensions, bounds);
}

}  // namespace lumvex
