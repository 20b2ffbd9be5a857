// Conversion between the types that automation clients pass: every source becomes a Number, a text or an object, and
// every target is made from one of these.
#include <cmath>
#include <limits>
#include <new>
#include <string>
#include <type_traits>
#include <utility>

#include "automation/element.hpp"
#include "automation/scalar_text.hpp"
#include "lumvex/values.hpp"

namespace lumvex::inside {
namespace {

// Rounds to the nearest integer, halves to the even one.
std::int64_t RoundedUnits(CY money) noexcept {
    std::int64_t units = money.int64 / 10000;
    const std::int64_t left = money.int64 % 10000;
    if (left > 5000 || (left == 5000 && units % 2 != 0)) ++units;
    if (left < -5000 || (left == -5000 && units % 2 != 0)) --units;
    return units;
}

double RealOf(const Number& number) noexcept {
    return number.Visit([](auto value) {
        if constexpr (std::is_same_v<decltype(value), CY>)
            return static_cast<double>(value.int64) / 10000;
        else
            return static_cast<double>(value);
    });
}

template <class Integer>
HRESULT ToInteger(const Number& number, Integer& result) noexcept {
    return number.Visit([&result](auto value) -> HRESULT {
        if constexpr (std::is_floating_point_v<decltype(value)>) {
            // The limits as powers of two: the largest 64-bit integer is not a double. A NaN fails both tests.
            const double limit = std::ldexp(1.0, std::numeric_limits<Integer>::digits);
            const double rounded = std::nearbyint(static_cast<double>(value));
            if (!(rounded < limit && rounded >= (std::is_signed_v<Integer> ? -limit : 0.0))) return DISP_E_OVERFLOW;
            result = static_cast<Integer>(rounded);
        } else if constexpr (std::is_same_v<decltype(value), CY>) {
            return ToInteger(Number(RoundedUnits(value)), result);
        } else {
            if (std::cmp_less(value, std::numeric_limits<Integer>::min()) ||
                std::cmp_greater(value, std::numeric_limits<Integer>::max()))
                return DISP_E_OVERFLOW;
            result = static_cast<Integer>(value);
        }
        return S_OK;
    });
}

HRESULT ToMoney(const Number& number, CY& result) noexcept {
    return number.Visit([&](auto value) -> HRESULT {
        if constexpr (std::is_integral_v<decltype(value)>) {
            constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max() / 10000;
            if (std::cmp_greater(value, kMost) || std::cmp_less(value, -kMost)) return DISP_E_OVERFLOW;
            result.int64 = static_cast<std::int64_t>(value) * 10000;
            return S_OK;
        } else {
            return ToInteger(Number(RealOf(number) * 10000), result.int64);
        }
    });
}

// What a source of numeric type holds; false for other types.
bool NumberOf(const VARIANT& source, Number& number) noexcept {
    switch (source.vt) {
        case VT_EMPTY:
            number = std::int64_t{0};
            return true;
        case VT_BOOL:
            number = std::int64_t{source.boolVal};
            return true;
        case VT_I1:
            number = std::int64_t{static_cast<signed char>(source.cVal)};
            return true;
        case VT_I2:
            number = std::int64_t{source.iVal};
            return true;
        case VT_I4:
        case VT_INT:
            number = std::int64_t{source.lVal};
            return true;
        case VT_I8:
            number = std::int64_t{source.llVal};
            return true;
        case VT_UI1:
            number = std::uint64_t{source.bVal};
            return true;
        case VT_UI2:
            number = std::uint64_t{source.uiVal};
            return true;
        case VT_UI4:
        case VT_UINT:
            number = std::uint64_t{source.ulVal};
            return true;
        case VT_UI8:
            number = std::uint64_t{source.ullVal};
            return true;
        case VT_R4:
            number = source.fltVal;
            return true;
        case VT_R8:
            number = source.dblVal;
            return true;
        case VT_DATE:
            number = source.date;
            return true;
        case VT_CY:
            number = source.cyVal;
            return true;
        default:
            return false;
    }
}

HRESULT SetNumber(const Number& number, VARTYPE type, VARIANT& result) noexcept {
    const double real = RealOf(number);
    switch (type) {
        case VT_I1: {
            signed char value = 0;
            const HRESULT status = ToInteger(number, value);
            result.cVal = static_cast<CHAR>(value);
            return status;
        }
        case VT_I2:
            return ToInteger(number, result.iVal);
        case VT_I4:
        case VT_INT:
            return ToInteger(number, result.lVal);
        case VT_I8:
            return ToInteger(number, result.llVal);
        case VT_UI1:
            return ToInteger(number, result.bVal);
        case VT_UI2:
            return ToInteger(number, result.uiVal);
        case VT_UI4:
        case VT_UINT:
            return ToInteger(number, result.ulVal);
        case VT_UI8:
            return ToInteger(number, result.ullVal);
        case VT_R4:
            if (std::fabs(real) > std::numeric_limits<float>::max()) return DISP_E_OVERFLOW;
            result.fltVal = static_cast<float>(real);
            return S_OK;
        case VT_R8:
            result.dblVal = real;
            return S_OK;
        case VT_DATE:
            if (!SplitDate(real)) return DISP_E_OVERFLOW;
            result.date = real;
            return S_OK;
        case VT_CY:
            return ToMoney(number, result.cyVal);
        case VT_BOOL:
            result.boolVal = real != 0 ? VARIANT_TRUE : VARIANT_FALSE;
            return S_OK;
        default:
            return DISP_E_TYPEMISMATCH;
    }
}

// True is all ones in every integer, unsigned ones too; a range check would refuse it there.
bool SetTruth(VARIANT_BOOL truth, VARTYPE type, VARIANT& result) noexcept {
    switch (type) {
        case VT_UI1:
            result.bVal = static_cast<BYTE>(truth);
            return true;
        case VT_UI2:
            result.uiVal = static_cast<USHORT>(truth);
            return true;
        case VT_UI4:
        case VT_UINT:
            result.ulVal = static_cast<ULONG>(truth);
            return true;
        case VT_UI8:
            result.ullVal = static_cast<ULONGLONG>(truth);
            return true;
        default:
            return false;
    }
}

HRESULT SetFromText(std::u16string_view text, VARTYPE type, VARIANT& result) noexcept {
    if (type == VT_DATE) {
        const auto date = ParseDate(text);
        if (!date) return DISP_E_TYPEMISMATCH;
        result.date = *date;
        return S_OK;
    }
    if (type == VT_BOOL) {
        for (const auto& [word, truth] : {std::pair(u"True", VARIANT_TRUE), std::pair(u"#TRUE#", VARIANT_TRUE),
                                          std::pair(u"False", VARIANT_FALSE), std::pair(u"#FALSE#", VARIANT_FALSE)})
            if (CompareNoCase(Trim(text), word) == 0) {
                result.boolVal = truth;
                return S_OK;
            }
    }
    Number number;
    const HRESULT status = ParseNumber(text, number);
    return FAILED(status) ? status : SetNumber(number, type, result);
}

HRESULT SetText(const VARIANT& source, USHORT flags, VARIANT& result) noexcept {
    try {
        Number number;
        std::u16string text;
        if (source.vt == VT_BOOL && (flags & (VARIANT_ALPHABOOL | VARIANT_LOCALBOOL))) {
            text = source.boolVal ? u"True" : u"False";
        } else if (source.vt == VT_DATE) {
            const auto date = DateText(source.date);
            if (!date) return DISP_E_OVERFLOW;
            text = *date;
        } else if (source.vt != VT_EMPTY) {
            if (!NumberOf(source, number)) return DISP_E_TYPEMISMATCH;
            text = NumberText(number);
        }
        result.bstrVal = Bstr(text).Detach();
        return S_OK;
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

HRESULT SetObject(const VARIANT& source, VARTYPE type, VARIANT& result) noexcept {
    if (source.vt != VT_DISPATCH && source.vt != VT_UNKNOWN) return DISP_E_TYPEMISMATCH;
    result.punkVal = nullptr;
    if (!source.punkVal) return S_OK;
    void* found = nullptr;
    const HRESULT status = source.punkVal->QueryInterface(type == VT_DISPATCH ? IID_IDispatch : IID_IUnknown, &found);
    if (type == VT_DISPATCH)
        result.pdispVal = static_cast<IDispatch*>(found);
    else
        result.punkVal = static_cast<IUnknown*>(found);
    return status;
}

// Makes the result, whose type is set already, from a source that is no reference.
HRESULT Convert(const VARIANT& source, LCID lcid, USHORT flags, VARIANT& result, int depth) noexcept {
    const VARTYPE type = result.vt;
    if ((source.vt | type) & VT_ARRAY) return DISP_E_TYPEMISMATCH;
    if (type == VT_DISPATCH || type == VT_UNKNOWN) return SetObject(source, type, result);
    if (source.vt == VT_DISPATCH) {
        // An object is converted by its default property, which may be an object again: after some rounds the
        // conversion fails.
        constexpr int kDeepest = 8;
        if (!source.pdispVal || (flags & VARIANT_NOVALUEPROP) || depth == kDeepest) return DISP_E_TYPEMISMATCH;
        DISPPARAMS none{};
        Variant answer;
        Variant value;
        if (FAILED(source.pdispVal->Invoke(DISPID_VALUE, IID_NULL, lcid, DISPATCH_PROPERTYGET, &none, answer.Out(),
                                           nullptr, nullptr)) ||
            FAILED(VariantCopyInd(&value, &answer)))
            return DISP_E_TYPEMISMATCH;
        if (value.vt == type) {
            value.Detach(&result);
            return S_OK;
        }
        return Convert(value, lcid, flags, result, depth + 1);
    }
    if (type == VT_BSTR) return SetText(source, flags, result);
    if (source.vt == VT_BSTR) return SetFromText(TextOf(source.bstrVal), type, result);
    if (source.vt == VT_BOOL && SetTruth(source.boolVal, type, result)) return S_OK;
    Number number;
    return NumberOf(source, number) ? SetNumber(number, type, result) : DISP_E_TYPEMISMATCH;
}

}  // namespace
}  // namespace lumvex::inside

HRESULT VariantChangeTypeEx(VARIANTARG* pvargDest, const VARIANTARG* pvarSrc, LCID lcid, USHORT wFlags,
                            VARTYPE vt) noexcept {
    if (!pvargDest || !pvarSrc) return E_INVALIDARG;
    if (!lumvex::inside::IsVariantType(vt) || !lumvex::inside::IsVariantType(pvarSrc->vt)) return DISP_E_BADVARTYPE;
    if (vt & VT_BYREF) return DISP_E_TYPEMISMATCH;

    lumvex::Variant source;
    if (pvarSrc->vt & VT_BYREF) {
        if (const HRESULT status = VariantCopyInd(&source, pvarSrc); FAILED(status)) return status;
        pvarSrc = &source;
    }
    if (pvarSrc->vt == vt) return VariantCopy(pvargDest, pvarSrc);

    VARIANT result{};
    result.vt = vt;
    if (const HRESULT status = lumvex::inside::Convert(*pvarSrc, lcid, wFlags, result, 0); FAILED(status))
        return status;  // what fails has put nothing into the result
    if (const HRESULT status = VariantClear(pvargDest); FAILED(status)) {
        VariantClear(&result);
        return status;
    }
    *pvargDest = result;
    return S_OK;
}

HRESULT VariantChangeType(VARIANTARG* pvargDest, const VARIANTARG* pvarSrc, USHORT wFlags, VARTYPE vt) noexcept {
    return VariantChangeTypeEx(pvargDest, pvarSrc, LOCALE_USER_DEFAULT, wFlags, vt);
}
