// The owners of strings and variants.
#include "lumvex/values.hpp"

#include <limits>
#include <new>
#include <stdexcept>

namespace lumvex {

std::u16string_view TextOf(BSTR text) noexcept {
    if (!text) return {};
    return {reinterpret_cast<const char16_t*>(text), SysStringLen(text)};
}

Bstr::Bstr(std::u16string_view text) {
    if (text.size() <= std::numeric_limits<UINT>::max())
        text_ = SysAllocStringLen(reinterpret_cast<const OLECHAR*>(text.empty() ? u"" : text.data()),
                                  static_cast<UINT>(text.size()));
    if (!text_) throw std::bad_alloc();
}

Variant::Variant(const VARIANT& other) : Variant() {
    switch (VariantCopy(this, const_cast<VARIANT*>(&other))) {
        case S_OK:
            return;
        case E_OUTOFMEMORY:
            throw std::bad_alloc();
        default:
            throw std::invalid_argument("the variant to copy has no valid type");
    }
}

Variant Variant::FromText(std::u16string_view text) {
    Variant result;
    result.bstrVal = Bstr(text).Detach();
    result.vt = VT_BSTR;
    return result;
}

Variant Variant::FromLong(LONG value) noexcept {
    Variant result;
    result.vt = VT_I4;
    result.lVal = value;
    return result;
}

Variant Variant::FromDouble(double value) noexcept {
    Variant result;
    result.vt = VT_R8;
    result.dblVal = value;
    return result;
}

Variant Variant::FromBool(bool value) noexcept {
    Variant result;
    result.vt = VT_BOOL;
    result.boolVal = value ? VARIANT_TRUE : VARIANT_FALSE;
    return result;
}

Variant Variant::FromDate(DATE value) noexcept {
    Variant result;
    result.vt = VT_DATE;
    result.date = value;
    return result;
}

Variant Variant::FromDispatch(IDispatch* object) noexcept {
    Variant result;
    result.vt = VT_DISPATCH;
    result.pdispVal = object;
    if (object) object->AddRef();
    return result;
}

Variant Variant::FromArray(VARTYPE element, SAFEARRAY* array) noexcept {
    Variant result;
    result.vt = static_cast<VARTYPE>(VT_ARRAY | element);
    result.parray = array;
    return result;
}

Variant Variant::Attach(VARIANT& other) noexcept {
    Variant result;
    std::swap<VARIANT>(result, other);
    return result;
}

void Variant::Detach(VARIANT* out) noexcept {
    *out = *this;
    vt = VT_EMPTY;
}

}  // namespace lumvex
