#include <gtest/gtest.h>

#include <charconv>
#include <cmath>
#include <limits>
#include <string>

#include "probe.hpp"

namespace {

using lumvex::TextOf;
using lumvex::ToUtf8;
using lumvex::Variant;

template <class T>
Variant Of(VARTYPE type, T VARIANT::*member, T value) {
    Variant variant;
    variant.vt = type;
    variant.*member = value;
    return variant;
}
Variant Empty() { return {}; }
Variant Null() { return Of(VT_NULL, &VARIANT::llVal, LONGLONG{0}); }
Variant Text(std::u16string_view text) { return Variant::FromText(text); }
Variant Real(double value) { return Variant::FromDouble(value); }
Variant Float(float value) { return Of(VT_R4, &VARIANT::fltVal, value); }
Variant Long(LONG value) { return Variant::FromLong(value); }
Variant Big(LONGLONG value) { return Of(VT_I8, &VARIANT::llVal, value); }
Variant UnsignedBig(ULONGLONG value) { return Of(VT_UI8, &VARIANT::ullVal, value); }
Variant Byte(BYTE value) { return Of(VT_UI1, &VARIANT::bVal, value); }
Variant SignedByte(CHAR value) { return Of(VT_I1, &VARIANT::cVal, value); }
Variant Bool(bool value) { return Variant::FromBool(value); }
Variant Date(double value) { return Variant::FromDate(value); }
Variant Money(LONGLONG tenThousandths) { return Of(VT_CY, &VARIANT::cyVal, CY{tenThousandths}); }
Variant Code(SCODE value) { return Of(VT_ERROR, &VARIANT::scode, value); }

template <class Floating>
std::string Shortest(Floating value) {
    char buffer[32];
    return {buffer, std::to_chars(buffer, std::end(buffer), value).ptr};
}

// A converted value as text, exact for every type.
std::string Show(const VARIANT& value) {
    switch (value.vt) {
        case VT_I1:
            return std::to_string(int{static_cast<signed char>(value.cVal)});
        case VT_UI1:
            return std::to_string(value.bVal);
        case VT_I2:
        case VT_BOOL:
            return std::to_string(value.iVal);
        case VT_UI2:
            return std::to_string(value.uiVal);
        case VT_I4:
        case VT_INT:
            return std::to_string(value.lVal);
        case VT_UI4:
        case VT_UINT:
            return std::to_string(value.ulVal);
        case VT_I8:
        case VT_CY:
            return std::to_string(value.llVal);
        case VT_UI8:
            return std::to_string(value.ullVal);
        case VT_R4:
            return Shortest(value.fltVal);
        case VT_R8:
        case VT_DATE:
            return Shortest(value.dblVal);
        case VT_BSTR:
            return '"' + ToUtf8(TextOf(value.bstrVal)) + '"';
        default:
            return "type " + std::to_string(value.vt);
    }
}

TEST(VariantConversion, Values) {
    const struct {
        Variant source;
        VARTYPE type;
        const char* expected;
    } cases[] = {
        // Real to integer goes to the nearest, halves to the even one.
        {Real(0.5), VT_I4, "0"},
        {Real(1.5), VT_I4, "2"},
        {Real(2.5), VT_I4, "2"},
        {Real(-2.5), VT_I2, "-2"},
        {Real(-3.5), VT_I1, "-4"},
        {Real(254.5), VT_UI1, "254"},
        {Real(-0.5), VT_UI1, "0"},
        {Float(1.5f), VT_I8, "2"},
        {Real(2147483647.4), VT_I4, "2147483647"},
        {Real(-2147483648.5), VT_I4, "-2147483648"},
        {Real(4294967295.0), VT_UI4, "4294967295"},
        {Real(-9223372036854775808.0), VT_I8, "-9223372036854775808"},
        {Real(18446744073709549568.0), VT_UI8, "18446744073709549568"},
        {Money(25000), VT_I4, "2"},
        {Money(35000), VT_I4, "4"},
        {Money(-25001), VT_I4, "-3"},
        {Money(-35000), VT_I4, "-4"},
        // Integers of all widths.
        {Long(-128), VT_I1, "-128"},
        {SignedByte(-1), VT_I2, "-1"},
        {Byte(255), VT_I2, "255"},
        {Big(4294967295), VT_UINT, "4294967295"},
        {UnsignedBig(9223372036854775807u), VT_I8, "9223372036854775807"},
        {Long(16777217), VT_R8, "16777217"},
        {Long(7), VT_UI2, "7"},
        {Long(7), VT_INT, "7"},
        {Of(VT_I2, &VARIANT::iVal, SHORT{-3}), VT_R4, "-3"},
        {Of(VT_UI2, &VARIANT::uiVal, USHORT{65535}), VT_I4, "65535"},
        {Of(VT_UI4, &VARIANT::ulVal, ULONG{4294967295}), VT_I8, "4294967295"},
        {UnsignedBig(7), VT_CY, "70000"},
        // Truth is minus one, all ones where there is no sign.
        {Bool(true), VT_I4, "-1"},
        {Bool(true), VT_R8, "-1"},
        {Bool(true), VT_UI1, "255"},
        {Bool(true), VT_UI2, "65535"},
        {Bool(true), VT_UI4, "4294967295"},
        {Bool(true), VT_UI8, "18446744073709551615"},
        {Bool(true), VT_BSTR, "\"-1\""},
        {Long(2), VT_BOOL, "-1"},
        {Real(0.25), VT_BOOL, "-1"},
        {Real(0), VT_BOOL, "0"},
        {Money(1), VT_BOOL, "-1"},
        {Text(u"true"), VT_BOOL, "-1"},
        {Text(u" FALSE "), VT_BOOL, "0"},
        {Text(u"#TRUE#"), VT_BOOL, "-1"},
        {Text(u"0.0"), VT_BOOL, "0"},
        {Text(u"-3"), VT_BOOL, "-1"},
        // Empty is nothing of every kind.
        {Empty(), VT_I4, "0"},
        {Empty(), VT_R4, "0"},
        {Empty(), VT_BOOL, "0"},
        {Empty(), VT_BSTR, "\"\""},
        {Empty(), VT_DATE, "0"},
        // Text to number.
        {Text(u"48000"), VT_I4, "48000"},
        {Text(u" \t-12.5e-1 "), VT_R8, "-1.25"},
        {Text(u"+3"), VT_UI1, "3"},
        {Text(u"2.5"), VT_I4, "2"},
        {Text(u".5"), VT_R8, "0.5"},
        {Text(u"5."), VT_R4, "5"},
        {Text(u"1E3"), VT_I2, "1000"},
        {Text(u"9223372036854775807"), VT_I8, "9223372036854775807"},
        {Text(u"&HfF"), VT_I4, "255"},
        {Text(u"18446744073709551615"), VT_UI8, "18446744073709551615"},
        {Text(u"&O17"), VT_UI2, "15"},
        {Text(u"36893488147419103232"), VT_R8, "36893488147419103232"},
        {Text(u"1.25"), VT_CY, "12500"},
        {Text(u"-0"), VT_I4, "0"},
        // Number to text: always a point, and no more digits than the type has.
        {Long(-5), VT_BSTR, "\"-5\""},
        {Real(0.1), VT_BSTR, "\"0.1\""},
        {Float(0.1f), VT_BSTR, "\"0.1\""},
        {Real(1.0 / 3), VT_BSTR, "\"0.333333333333333\""},
        {Real(1e20), VT_BSTR, "\"1E+20\""},
        {Real(-0.0), VT_BSTR, "\"0\""},
        {Real(1e-7), VT_BSTR, "\"1E-07\""},
        {UnsignedBig(18446744073709551615u), VT_BSTR, "\"18446744073709551615\""},
        {Money(-5000), VT_BSTR, "\"-0.5\""},
        {Money(120001), VT_BSTR, "\"12.0001\""},
        {Money(30000), VT_BSTR, "\"3\""},
        {Money(std::numeric_limits<LONGLONG>::min()), VT_BSTR, "\"-922337203685477.5808\""},
        // Dates.
        {Date(40688.5854166667), VT_BSTR, "\"2011-05-25 14:03:00\""},
        {Date(40688), VT_BSTR, "\"2011-05-25\""},
        {Date(0.25), VT_BSTR, "\"06:00:00\""},
        {Date(-1.25), VT_BSTR, "\"1899-12-29 06:00:00\""},
        {Text(u"2011-05-25"), VT_DATE, "40688"},
        {Text(u"1899-12-29T06:00"), VT_DATE, "-1.25"},
        {Text(u"18:00:00"), VT_DATE, "0.75"},
        {Date(40688.5), VT_R8, "40688.5"},
        {Date(40688.5), VT_I4, "40688"},
        {Long(-657434), VT_DATE, "-657434"},
        // Others.
        {Real(2.5), VT_CY, "25000"},
        {Long(3), VT_CY, "30000"},
        {Money(12345), VT_R8, "1.2345"},
        {Real(1e-300), VT_R4, "0"},
        {Text(u"same"), VT_BSTR, "\"same\""},
    };
    for (const auto& [source, type, expected] : cases) {
        Variant result;
        ASSERT_EQ(VariantChangeType(&result, &source, 0, type), S_OK) << Show(source) << " to " << type;
        EXPECT_EQ(result.vt, type);
        EXPECT_EQ(Show(result), expected) << Show(source) << " to " << type;
    }
}

TEST(VariantConversion, RefusalsLeaveTheDestination) {
    const double infinity = std::numeric_limits<double>::infinity();
    const struct {
        Variant source;
        VARTYPE type;
        HRESULT status;
    } cases[] = {
        {Long(128), VT_I1, DISP_E_OVERFLOW},
        {Long(-1), VT_UI1, DISP_E_OVERFLOW},
        {Long(-1), VT_UI8, DISP_E_OVERFLOW},
        {Long(32768), VT_I2, DISP_E_OVERFLOW},
        {UnsignedBig(1ull << 63), VT_I8, DISP_E_OVERFLOW},
        {Real(255.5), VT_UI1, DISP_E_OVERFLOW},
        {Real(-0.51), VT_UI4, DISP_E_OVERFLOW},
        {Real(2147483647.5), VT_I4, DISP_E_OVERFLOW},
        {Real(9223372036854775808.0), VT_I8, DISP_E_OVERFLOW},
        {Real(18446744073709551616.0), VT_UI8, DISP_E_OVERFLOW},
        {Real(std::nan("")), VT_I4, DISP_E_OVERFLOW},
        {Real(infinity), VT_I8, DISP_E_OVERFLOW},
        {Real(1e39), VT_R4, DISP_E_OVERFLOW},
        {Real(1e15), VT_CY, DISP_E_OVERFLOW},
        {Big(1ll << 60), VT_CY, DISP_E_OVERFLOW},
        {Real(2958466), VT_DATE, DISP_E_OVERFLOW},
        {Real(std::nan("")), VT_DATE, DISP_E_OVERFLOW},
        {Text(u"1e400"), VT_R8, DISP_E_OVERFLOW},
        {Text(u"300"), VT_UI1, DISP_E_OVERFLOW},
        {Text(u"&H1FFFFFFFFFFFFFFFF"), VT_UI8, DISP_E_OVERFLOW},
        {Date(1e10), VT_BSTR, DISP_E_OVERFLOW},
        {Null(), VT_I4, DISP_E_TYPEMISMATCH},
        {Null(), VT_BSTR, DISP_E_TYPEMISMATCH},
        {Code(5), VT_I4, DISP_E_TYPEMISMATCH},
        {Code(5), VT_BSTR, DISP_E_TYPEMISMATCH},
        {Long(1), VT_ERROR, DISP_E_TYPEMISMATCH},
        {Long(1), VT_DISPATCH, DISP_E_TYPEMISMATCH},
        {Long(1), VT_EMPTY, DISP_E_TYPEMISMATCH},
        {Long(1), VT_I4 | VT_BYREF, DISP_E_TYPEMISMATCH},
        {Long(1), VT_ARRAY | VT_I4, DISP_E_TYPEMISMATCH},
        {Text(u""), VT_I4, DISP_E_TYPEMISMATCH},
        {Text(u"  "), VT_R8, DISP_E_TYPEMISMATCH},
        {Text(u"1,5"), VT_R8, DISP_E_TYPEMISMATCH},
        {Text(u"12x"), VT_I4, DISP_E_TYPEMISMATCH},
        {Text(u"inf"), VT_R8, DISP_E_TYPEMISMATCH},
        {Text(u"+-1"), VT_I4, DISP_E_TYPEMISMATCH},
        {Text(u"-"), VT_I4, DISP_E_TYPEMISMATCH},
        {Text(u"1 2"), VT_I4, DISP_E_TYPEMISMATCH},
        {Text(u"\u0661"), VT_I4, DISP_E_TYPEMISMATCH},
        {Text({u"1\0", 2}), VT_I4, DISP_E_TYPEMISMATCH},
        {Text(u"1\u0131"), VT_I4, DISP_E_TYPEMISMATCH},
        {Text(std::u16string(600, u'1')), VT_R8, DISP_E_TYPEMISMATCH},
        {Text(u"2011-02-29"), VT_DATE, DISP_E_TYPEMISMATCH},
        {Text(u"2011-05"), VT_DATE, DISP_E_TYPEMISMATCH},
        {UnsignedBig(1ull << 63), VT_CY, DISP_E_OVERFLOW},
        {Text(u"24:00"), VT_DATE, DISP_E_TYPEMISMATCH},
        {Text(u"2011-05-25 "), VT_I4, DISP_E_TYPEMISMATCH},
        {Text(u"yes"), VT_BOOL, DISP_E_TYPEMISMATCH},
        {Long(1), VT_VARIANT, DISP_E_BADVARTYPE},
        {Long(1), 99, DISP_E_BADVARTYPE},
    };
    for (const auto& [source, type, status] : cases) {
        Variant kept = Text(u"kept");
        EXPECT_EQ(VariantChangeType(&kept, &source, 0, type), status) << Show(source) << " to " << type;
        EXPECT_EQ(Show(kept), "\"kept\"");
    }
    Variant locked = Variant::FromArray(VT_R4, SafeArrayCreateVector(VT_R4, 0, 1));
    SafeArrayLock(locked.parray);
    const Variant number = Long(5);
    EXPECT_EQ(VariantChangeType(&locked, &number, 0, VT_BSTR), DISP_E_ARRAYISLOCKED);
    SafeArrayUnlock(locked.parray);

    VARIANT bad{};
    bad.vt = 99;
    Variant result;
    EXPECT_EQ(VariantChangeType(&result, &bad, 0, VT_I4), DISP_E_BADVARTYPE);
    EXPECT_EQ(VariantChangeType(&result, nullptr, 0, VT_I4), E_INVALIDARG);
}

TEST(VariantConversion, InPlaceAndFromReferences) {
    Variant inPlace = Text(u"12");
    ASSERT_EQ(VariantChangeType(&inPlace, &inPlace, 0, VT_R8), S_OK);
    EXPECT_EQ(inPlace.dblVal, 12);
    ASSERT_EQ(VariantChangeType(&inPlace, &inPlace, 0, VT_BSTR), S_OK);
    EXPECT_EQ(Show(inPlace), "\"12\"");

    float number = 2.5f;
    VARIANT inner{};
    inner.vt = VT_BYREF | VT_R4;
    inner.pfltVal = &number;
    VARIANT outer{};
    outer.vt = VT_BYREF | VT_VARIANT;
    outer.pvarVal = &inner;
    Variant result;
    ASSERT_EQ(VariantChangeType(&result, &inner, 0, VT_R4), S_OK);
    EXPECT_EQ(result.vt, VT_R4);
    ASSERT_EQ(VariantChangeType(&result, &outer, 0, VT_I4), S_OK);
    EXPECT_EQ(result.lVal, 2);

    const Variant truth = Bool(true);
    ASSERT_EQ(VariantChangeType(&result, &truth, VARIANT_ALPHABOOL, VT_BSTR), S_OK);
    EXPECT_EQ(Show(result), "\"True\"");
}

TEST(VariantConversion, ObjectsStandForTheirDefaultProperty) {
    Probe inner, outer;
    inner.value = Text(u"3.5");
    outer.answer = &inner;
    const Variant object = Variant::FromDispatch(&outer);
    Variant result;
    ASSERT_EQ(VariantChangeType(&result, &object, 0, VT_R8), S_OK);
    EXPECT_EQ(result.dblVal, 3.5);
    ASSERT_EQ(VariantChangeType(&result, &object, 0, VT_BSTR), S_OK);
    EXPECT_EQ(Show(result), "\"3.5\"");
    EXPECT_EQ(VariantChangeType(&result, &object, VARIANT_NOVALUEPROP, VT_R8), DISP_E_TYPEMISMATCH);
    inner.answer = &outer;  // round and round
    EXPECT_EQ(VariantChangeType(&result, &object, 0, VT_R8), DISP_E_TYPEMISMATCH);
    const Variant none = Variant::FromDispatch(nullptr);
    EXPECT_EQ(VariantChangeType(&result, &none, 0, VT_R8), DISP_E_TYPEMISMATCH);

    ASSERT_EQ(VariantChangeType(&result, &object, 0, VT_UNKNOWN), S_OK);
    EXPECT_EQ(outer.references, 3u);
    ASSERT_EQ(VariantChangeType(&result, &result, 0, VT_DISPATCH), S_OK);
    EXPECT_EQ(outer.references, 3u);
    outer.hasDispatch = false;
    Variant unknown;
    ASSERT_EQ(VariantChangeType(&unknown, &object, 0, VT_UNKNOWN), S_OK);
    EXPECT_EQ(VariantChangeType(&unknown, &unknown, 0, VT_DISPATCH), E_NOINTERFACE);
    result = unknown = Variant();
    EXPECT_EQ(outer.references, 2u);
    EXPECT_EQ(inner.references, 1u);
}

}  // namespace
