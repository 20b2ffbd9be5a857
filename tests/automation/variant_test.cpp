#include <gtest/gtest.h>

#include "probe.hpp"

namespace {

using lumvex::TextOf;
using lumvex::Variant;

VARIANT ByReference(VARTYPE type, void* target) {
    VARIANT variant{};
    variant.vt = static_cast<VARTYPE>(VT_BYREF | type);
    variant.byref = target;
    return variant;
}

TEST(VariantBasics, CopiesAreDeepAndClearFreesOnlyWhatIsOwned) {
    Probe probe;
    {
        const Variant text = Variant::FromText(u"tweeter");
        const Variant object = Variant::FromDispatch(&probe);
        const Variant array = Variant::FromArray(VT_R4, SafeArrayCreateVector(VT_R4, 1, 2));
        const Variant copies[] = {text, object, array};
        EXPECT_NE(copies[0].bstrVal, text.bstrVal);
        EXPECT_EQ(TextOf(copies[0].bstrVal), u"tweeter");
        EXPECT_EQ(probe.references, 3u);
        EXPECT_NE(copies[2].parray, array.parray);
        EXPECT_EQ(copies[2].parray->rgsabound[0].lLbound, 1);

        BSTR owned = SysAllocString(u"not the variant's");
        VARIANT reference = ByReference(VT_BSTR, &owned);
        EXPECT_EQ(VariantClear(&reference), S_OK);
        EXPECT_EQ(reference.vt, VT_EMPTY);
        EXPECT_EQ(TextOf(owned), u"not the variant's");
        SysFreeString(owned);
    }
    EXPECT_EQ(probe.references, 1u);
}

TEST(VariantBasics, FailuresLeaveTheDestination) {
    Variant kept = Variant::FromText(u"kept");
    VARIANT bad{};
    for (const int type : {int{VT_VARIANT}, int{VT_ARRAY}, int{VT_BYREF | VT_EMPTY}, int{VT_DECIMAL}, int{VT_ILLEGAL},
                           int{VT_VECTOR | VT_R4}}) {
        bad.vt = static_cast<VARTYPE>(type);
        EXPECT_EQ(VariantClear(&bad), DISP_E_BADVARTYPE) << type;
        EXPECT_EQ(VariantCopy(&kept, &bad), DISP_E_BADVARTYPE) << type;
        EXPECT_THROW(static_cast<void>(Variant(bad)), std::invalid_argument);
    }
    EXPECT_EQ(VariantCopy(&kept, &kept), S_OK);
    EXPECT_EQ(VariantCopy(&kept, nullptr), E_INVALIDARG);
    EXPECT_EQ(VariantClear(nullptr), E_INVALIDARG);
    EXPECT_EQ(TextOf(kept.bstrVal), u"kept");

    Variant locked = Variant::FromArray(VT_R4, SafeArrayCreateVector(VT_R4, 0, 1));
    SafeArrayLock(locked.parray);
    const Variant number = Variant::FromLong(1);
    EXPECT_EQ(VariantCopy(&locked, &number), DISP_E_ARRAYISLOCKED);
    EXPECT_EQ(locked.vt, VT_ARRAY | VT_R4);
    SafeArrayUnlock(locked.parray);
}

TEST(VariantBasics, CopyIndFollowsReferencesOneVariantDeep) {
    LONG number = 42;
    BSTR text = SysAllocString(u"by reference");
    SAFEARRAY* array = SafeArrayCreateVector(VT_UI1, 3, 1);
    const VARIANT toNumber = ByReference(VT_I4, &number);
    const VARIANT toText = ByReference(VT_BSTR, &text);
    const VARIANT toArray = ByReference(VT_ARRAY | VT_UI1, &array);
    VARIANT inner = toNumber;
    const VARIANT toInner = ByReference(VT_VARIANT, &inner);
    VARIANT innermost = toInner;
    const VARIANT tooDeep = ByReference(VT_VARIANT, &innermost);

    Variant copy;
    ASSERT_EQ(VariantCopyInd(&copy, &toNumber), S_OK);
    EXPECT_EQ(copy.vt, VT_I4);
    EXPECT_EQ(copy.lVal, 42);
    ASSERT_EQ(VariantCopyInd(&copy, &toText), S_OK);
    EXPECT_NE(copy.bstrVal, text);
    EXPECT_EQ(TextOf(copy.bstrVal), u"by reference");
    EXPECT_EQ(VariantCopyInd(&copy, &tooDeep), E_INVALIDARG);
    EXPECT_EQ(TextOf(copy.bstrVal), u"by reference");
    ASSERT_EQ(VariantCopyInd(&copy, &toArray), S_OK);
    EXPECT_EQ(copy.vt, VT_ARRAY | VT_UI1);
    EXPECT_NE(copy.parray, array);
    ASSERT_EQ(VariantCopyInd(&copy, &toInner), S_OK);
    EXPECT_EQ(copy.lVal, 42);
    VARIANT plain = Variant::FromDouble(0.5);
    const VARIANT toPlain = ByReference(VT_VARIANT, &plain);
    ASSERT_EQ(VariantCopyInd(&copy, &toPlain), S_OK);
    EXPECT_EQ(copy.dblVal, 0.5);
    plain.vt = VT_ILLEGAL;
    EXPECT_EQ(VariantCopyInd(&copy, &toPlain), DISP_E_BADVARTYPE);
    const VARIANT nowhere = ByReference(VT_I4, nullptr);
    EXPECT_EQ(VariantCopyInd(&copy, &nowhere), E_INVALIDARG);

    // In place, as an argument that was passed by reference is resolved.
    ASSERT_EQ(VariantCopyInd(&inner, &inner), S_OK);
    EXPECT_EQ(inner.vt, VT_I4);
    EXPECT_EQ(inner.lVal, 42);
    SysFreeString(text);
    SafeArrayDestroy(array);
}

}  // namespace
