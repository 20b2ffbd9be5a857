// What one value of an automation type is in memory, and whether a variant or an array may hold it: the one place that
// knows the types, shared by arrays and variants.
#pragma once

#include "lumvex/automation.hpp"

namespace lumvex::inside {

// Bytes of one value of a type without VT_ARRAY and VT_BYREF; 0 for a type that cannot be an array's element.
inline ULONG SizeOfElement(VARTYPE type) noexcept {
    switch (type) {
        case VT_I1:
        case VT_UI1:
            return 1;
        case VT_I2:
        case VT_UI2:
        case VT_BOOL:
            return 2;
        case VT_I4:
        case VT_UI4:
        case VT_INT:
        case VT_UINT:
        case VT_ERROR:
        case VT_R4:
            return 4;
        case VT_I8:
        case VT_UI8:
        case VT_R8:
        case VT_CY:
        case VT_DATE:
            return 8;
        case VT_BSTR:
        case VT_UNKNOWN:
        case VT_DISPATCH:
            return sizeof(void*);
        case VT_VARIANT:
            return sizeof(VARIANT);
        default:
            return 0;
    }
}

// Whether a variant can have this type word: empty, null, a value (not a bare variant), an array, or a reference to
// these.
inline bool IsVariantType(VARTYPE type) noexcept {
    const VARTYPE base = type & VT_TYPEMASK;
    const VARTYPE flags = static_cast<VARTYPE>(type & ~VT_TYPEMASK);
    if (flags == 0) return base == VT_EMPTY || base == VT_NULL || (base != VT_VARIANT && SizeOfElement(base) != 0);
    return (flags & ~(VT_ARRAY | VT_BYREF)) == 0 && SizeOfElement(base) != 0;
}

}  // namespace lumvex::inside
