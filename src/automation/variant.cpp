// Variants: who owns what they hold, and how they are cleared and copied.
#include <cstring>
#include <utility>

#include "automation/element.hpp"
#include "lumvex/native_automation.hpp"

using lumvex::inside::IsVariantType;
using lumvex::inside::SizeOfElement;

namespace {

// A bitwise copy becomes one that owns its content.
HRESULT OwnContent(VARIANT& copy) noexcept {
    if (copy.vt & VT_BYREF) return S_OK;
    if (copy.vt & VT_ARRAY) return SafeArrayCopy(copy.parray, &copy.parray);
    switch (copy.vt) {
        case VT_BSTR:
            if (BSTR const text = copy.bstrVal) {
                copy.bstrVal = SysAllocStringByteLen(reinterpret_cast<LPCSTR>(text), SysStringByteLen(text));
                if (!copy.bstrVal) return E_OUTOFMEMORY;
            }
            break;
        case VT_UNKNOWN:
        case VT_DISPATCH:
            if (copy.punkVal) copy.punkVal->AddRef();
            break;
        default:
            break;
    }
    return S_OK;
}

// The variant that a by-reference variant refers to, without owning its content.
HRESULT Dereference(const VARIANT& source, VARIANT& target) noexcept {
    const VARTYPE type = source.vt & static_cast<VARTYPE>(~VT_BYREF);
    if (!source.byref) return E_INVALIDARG;
    if (type == VT_VARIANT) {
        if (!IsVariantType(source.pvarVal->vt)) return DISP_E_BADVARTYPE;
        if (!(source.pvarVal->vt & VT_BYREF)) {
            target = *source.pvarVal;
            return S_OK;
        }
        // One more step at most, so that references to themselves end.
        if (source.pvarVal->vt == (VT_BYREF | VT_VARIANT)) return E_INVALIDARG;
        return Dereference(*source.pvarVal, target);
    }
    VariantInit(&target);
    target.vt = type;
    std::memcpy(&target.llVal, source.byref, type & VT_ARRAY ? sizeof(void*) : SizeOfElement(type));
    return S_OK;
}

}  // namespace

void VariantInit(VARIANTARG* pvarg) noexcept {
    if (pvarg) *pvarg = VARIANT{};
}

HRESULT VariantClear(VARIANTARG* pvarg) noexcept {
    if (!pvarg) return E_INVALIDARG;
    if (!IsVariantType(pvarg->vt)) return DISP_E_BADVARTYPE;
    if ((pvarg->vt & (VT_ARRAY | VT_BYREF)) == VT_ARRAY) {
        if (const HRESULT status = SafeArrayDestroy(pvarg->parray); FAILED(status)) return status;
        *pvarg = VARIANT{};
        return S_OK;
    }
    // Emptied first: releasing an object may run code that looks at this variant.
    const VARIANT held = std::exchange(*pvarg, VARIANT{});
    switch (held.vt) {
        case VT_BSTR:
            SysFreeString(held.bstrVal);
            break;
        case VT_UNKNOWN:
        case VT_DISPATCH:
            if (held.punkVal) held.punkVal->Release();
            break;
        default:
            break;
    }
    return S_OK;
}

HRESULT VariantCopy(VARIANTARG* pvargDest, const VARIANTARG* pvargSrc) noexcept {
    if (!pvargDest || !pvargSrc) return E_INVALIDARG;
    if (!IsVariantType(pvargSrc->vt)) return DISP_E_BADVARTYPE;
    if (pvargDest == pvargSrc) return S_OK;
    VARIANT copy = *pvargSrc;
    if (const HRESULT status = OwnContent(copy); FAILED(status)) return status;
    if (const HRESULT status = VariantClear(pvargDest); FAILED(status)) {
        VariantClear(&copy);
        return status;
    }
    *pvargDest = copy;
    return S_OK;
}

HRESULT VariantCopyInd(VARIANT* pvarDest, const VARIANTARG* pvargSrc) noexcept {
    if (!pvarDest || !pvargSrc) return E_INVALIDARG;
    if (!IsVariantType(pvargSrc->vt)) return DISP_E_BADVARTYPE;
    if (!(pvargSrc->vt & VT_BYREF)) return VariantCopy(pvarDest, pvargSrc);
    VARIANT target;
    if (const HRESULT status = Dereference(*pvargSrc, target); FAILED(status)) return status;
    return VariantCopy(pvarDest, &target);
}
