#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <vector>

#include "probe.hpp"

namespace {

using lumvex::Bstr;
using lumvex::Variant;

struct Destroy {
    void operator()(SAFEARRAY* array) const { EXPECT_EQ(SafeArrayDestroy(array), S_OK); }
};
using Array = std::unique_ptr<SAFEARRAY, Destroy>;

Array Make(VARTYPE type, std::vector<SAFEARRAYBOUND> bounds) {
    return Array(SafeArrayCreate(type, static_cast<UINT>(bounds.size()), bounds.data()));
}

template <class T>
T* DataOf(const Array& array) {
    return static_cast<T*>(array->pvData);
}

TEST(SafeArray, ElementTypesSizesAndFeatures) {
    constexpr ULONG kPointer = sizeof(void*);
    const struct {
        VARTYPE type;
        ULONG size;
        USHORT feature;
    } cases[] = {{VT_I1, 1, FADF_HAVEVARTYPE},
                 {VT_UI1, 1, FADF_HAVEVARTYPE},
                 {VT_I2, 2, FADF_HAVEVARTYPE},
                 {VT_UI2, 2, FADF_HAVEVARTYPE},
                 {VT_BOOL, 2, FADF_HAVEVARTYPE},
                 {VT_I4, 4, FADF_HAVEVARTYPE},
                 {VT_UI4, 4, FADF_HAVEVARTYPE},
                 {VT_INT, 4, FADF_HAVEVARTYPE},
                 {VT_R4, 4, FADF_HAVEVARTYPE},
                 {VT_R8, 8, FADF_HAVEVARTYPE},
                 {VT_I8, 8, FADF_HAVEVARTYPE},
                 {VT_UI8, 8, FADF_HAVEVARTYPE},
                 {VT_DATE, 8, FADF_HAVEVARTYPE},
                 {VT_BSTR, kPointer, FADF_BSTR},
                 {VT_UNKNOWN, kPointer, FADF_UNKNOWN},
                 {VT_CY, 8, FADF_HAVEVARTYPE},
                 {VT_VARIANT, sizeof(VARIANT), FADF_VARIANT},
                 {VT_DISPATCH, kPointer, FADF_DISPATCH}};
    for (const auto& [type, size, feature] : cases) {
        const Array array = Make(type, {{3, 0}});
        ASSERT_TRUE(array) << type;
        VARTYPE found = 0;
        EXPECT_EQ(SafeArrayGetVartype(array.get(), &found), S_OK);
        EXPECT_EQ(found, type);
        EXPECT_EQ(SafeArrayGetElemsize(array.get()), size) << type;
        EXPECT_EQ(array->fFeatures, feature) << type;
        const auto* bytes = DataOf<const unsigned char>(array);
        for (ULONG i = 0; i < 3 * size; ++i) ASSERT_EQ(bytes[i], 0) << type;
    }
    for (const int type :
         {int{VT_EMPTY}, int{VT_NULL}, int{VT_RECORD}, int{VT_R4 | VT_ARRAY}, int{VT_I4 | VT_BYREF}, 15})
        EXPECT_FALSE(Make(static_cast<VARTYPE>(type), {{1, 0}})) << type;
}

TEST(SafeArray, FirstDimensionVariesFastestAndBoundsAreStoredLastFirst) {
    const Array array = Make(VT_I4, {{3, 1}, {2, -5}, {4, 10}});
    ASSERT_TRUE(array);
    EXPECT_EQ(SafeArrayGetDim(array.get()), 3u);
    EXPECT_EQ(array->rgsabound[0].cElements, 4u);
    EXPECT_EQ(array->rgsabound[2].cElements, 3u);
    LONG value = 0;
    for (LONG k = 10; k < 14; ++k)
        for (LONG j = -5; j < -3; ++j)
            for (LONG i = 1; i < 4; ++i, ++value) {
                LONG at[] = {i, j, k};
                ASSERT_EQ(SafeArrayPutElement(array.get(), at, &value), S_OK);
                void* place = nullptr;
                ASSERT_EQ(SafeArrayPtrOfIndex(array.get(), at, &place), S_OK);
                EXPECT_EQ(place, DataOf<LONG>(array) + value);
                LONG read = -1;
                ASSERT_EQ(SafeArrayGetElement(array.get(), at, &read), S_OK);
                EXPECT_EQ(read, value);
            }
    for (LONG i = 0; i < 24; ++i) EXPECT_EQ(DataOf<LONG>(array)[i], i);
}

TEST(SafeArray, IndexesAndDimensionsOutsideAreRefused) {
    const Array array = Make(VT_R4, {{3, 1}, {2, -5}});
    float value = 7;
    for (const auto& [i, j] : {std::pair{0, -5},
                               {4, -5},
                               {1, -6},
                               {1, -3},
                               {std::numeric_limits<LONG>::min(), -5},
                               {1, std::numeric_limits<LONG>::max()}}) {
        LONG at[] = {i, j};
        EXPECT_EQ(SafeArrayPutElement(array.get(), at, &value), DISP_E_BADINDEX) << i << ' ' << j;
        EXPECT_EQ(SafeArrayGetElement(array.get(), at, &value), DISP_E_BADINDEX) << i << ' ' << j;
    }
    LONG bound = 0;
    for (const UINT dimension : {0u, 3u}) {
        EXPECT_EQ(SafeArrayGetLBound(array.get(), dimension, &bound), DISP_E_BADINDEX);
        EXPECT_EQ(SafeArrayGetUBound(array.get(), dimension, &bound), DISP_E_BADINDEX);
    }
    EXPECT_EQ(SafeArrayGetLBound(nullptr, 1, &bound), E_INVALIDARG);
    EXPECT_EQ(SafeArrayGetUBound(array.get(), 1, nullptr), E_INVALIDARG);
    EXPECT_EQ(SafeArrayGetDim(nullptr), 0u);
}

TEST(SafeArray, BoundsAsGivenUpToTheLimitsOfTheirType) {
    constexpr LONG kMin = std::numeric_limits<LONG>::min(), kMax = std::numeric_limits<LONG>::max();
    const struct {
        SAFEARRAYBOUND bound;
        LONG upper;
    } cases[] = {{{5, 0}, 4}, {{5, -2}, 2}, {{1, kMax}, kMax}, {{1, kMin}, kMin}, {{0, 0}, -1}, {{0, 7}, 6}};
    for (const auto& [bound, upper] : cases) {
        const Array array(SafeArrayCreateVector(VT_UI1, bound.lLbound, bound.cElements));
        ASSERT_TRUE(array);
        LONG low = 0, high = 0;
        EXPECT_EQ(SafeArrayGetLBound(array.get(), 1, &low), S_OK);
        EXPECT_EQ(SafeArrayGetUBound(array.get(), 1, &high), S_OK);
        EXPECT_EQ(low, bound.lLbound);
        EXPECT_EQ(high, upper);
        EXPECT_TRUE(array->fFeatures & FADF_CREATEVECTOR);
    }
    EXPECT_FALSE(Make(VT_UI1, {{2, kMax}}));
    EXPECT_FALSE(Make(VT_UI1, {{0, kMin}}));
}

TEST(SafeArray, SizesThatOverflowAreRefused) {
    EXPECT_FALSE(Make(VT_R8, {{0x20000000, 0}}));
    EXPECT_FALSE(Make(VT_UI1, {{0x10000, 0}, {0x10000, 0}}));
    EXPECT_FALSE(Make(VT_R4, std::vector<SAFEARRAYBOUND>(64, {0x40000000, 0})));
    EXPECT_EQ(SafeArrayCreate(VT_R4, 0, nullptr), nullptr);
    SAFEARRAYBOUND bound{1, 0};
    EXPECT_EQ(SafeArrayCreate(VT_R4, 0x10000, &bound), nullptr);
}

TEST(SafeArray, WithoutElementsThereIsStillDataToPointAt) {
    const Array array = Make(VT_VARIANT, {{0, 1}, {5, 0}});
    ASSERT_TRUE(array);
    void* data = nullptr;
    ASSERT_EQ(SafeArrayAccessData(array.get(), &data), S_OK);
    EXPECT_NE(data, nullptr);
    EXPECT_EQ(SafeArrayUnaccessData(array.get()), S_OK);
    SAFEARRAY* copy = nullptr;
    ASSERT_EQ(SafeArrayCopy(array.get(), &copy), S_OK);
    LONG at[] = {1, 0};
    Variant value;
    EXPECT_EQ(SafeArrayGetElement(copy, at, &value), DISP_E_BADINDEX);
    EXPECT_EQ(SafeArrayDestroy(copy), S_OK);
}

TEST(SafeArray, LockedIsNotDestroyedAndACopyIsUnlocked) {
    SAFEARRAY* array = SafeArrayCreateVector(VT_R4, 0, 4);
    void* data = nullptr;
    ASSERT_EQ(SafeArrayLock(array), S_OK);
    ASSERT_EQ(SafeArrayAccessData(array, &data), S_OK);
    SAFEARRAY* copy = nullptr;
    ASSERT_EQ(SafeArrayCopy(array, &copy), S_OK);
    EXPECT_EQ(SafeArrayDestroy(copy), S_OK);
    EXPECT_EQ(SafeArrayUnaccessData(array), S_OK);
    EXPECT_EQ(SafeArrayDestroy(array), DISP_E_ARRAYISLOCKED);
    EXPECT_EQ(SafeArrayUnlock(array), S_OK);
    EXPECT_EQ(SafeArrayUnlock(array), E_UNEXPECTED);
    EXPECT_EQ(SafeArrayDestroy(array), S_OK);
    EXPECT_EQ(SafeArrayDestroy(nullptr), S_OK);
}

TEST(SafeArray, TextsAreCopiedWholeAndOwned) {
    Array array = Make(VT_BSTR, {{2, 0}});
    LONG first[] = {0}, second[] = {1};
    {
        const Bstr text(std::u16string_view(u"a\0b", 3));
        ASSERT_EQ(SafeArrayPutElement(array.get(), first, text.get()), S_OK);
        ASSERT_EQ(SafeArrayPutElement(array.get(), second, nullptr), S_OK);
    }
    // Its own element: the copy has to be made before the old one is freed.
    ASSERT_EQ(SafeArrayPutElement(array.get(), first, DataOf<BSTR>(array)[0]), S_OK);
    SAFEARRAY* copied = nullptr;
    ASSERT_EQ(SafeArrayCopy(array.get(), &copied), S_OK);
    const Array copy(copied);
    array.reset();
    Bstr read;
    ASSERT_EQ(SafeArrayGetElement(copy.get(), first, read.Out()), S_OK);
    EXPECT_EQ(read.view(), std::u16string_view(u"a\0b", 3));
    ASSERT_EQ(SafeArrayGetElement(copy.get(), second, read.Out()), S_OK);
    EXPECT_EQ(read.get(), nullptr);
}

TEST(SafeArray, ObjectsAndVariantsAreCountedThroughPutGetCopyAndDestroy) {
    Probe probe;
    for (const VARTYPE type : {VT_UNKNOWN, VT_DISPATCH, VT_VARIANT}) {
        Array array = Make(type, {{2, 0}});
        LONG at[] = {1};
        Variant holder = Variant::FromDispatch(&probe);
        void* element = type == VT_VARIANT ? static_cast<void*>(&holder) : &probe;
        ASSERT_EQ(SafeArrayPutElement(array.get(), at, element), S_OK);
        EXPECT_EQ(probe.references, 3u);
        ASSERT_EQ(SafeArrayPutElement(array.get(), at, element), S_OK) << "replaced by itself";
        EXPECT_EQ(probe.references, 3u);
        SAFEARRAY* copy = nullptr;
        ASSERT_EQ(SafeArrayCopy(array.get(), &copy), S_OK);
        EXPECT_EQ(probe.references, 4u);
        Variant read;
        if (type == VT_VARIANT) {
            ASSERT_EQ(SafeArrayGetElement(copy, at, &read), S_OK);
        } else {
            read.vt = type;
            ASSERT_EQ(SafeArrayGetElement(copy, at, &read.punkVal), S_OK);
        }
        EXPECT_EQ(probe.references, 5u);
        EXPECT_EQ(SafeArrayDestroy(copy), S_OK);
        array.reset();
        read = Variant();
        holder = Variant();
        EXPECT_EQ(probe.references, 1u) << type;
    }
}

TEST(SafeArray, MoreLocksThanItCountsAreRefused) {
    const Array array = Make(VT_R4, {{1, 0}});
    for (int i = 0; i < 0xFFFF; ++i) ASSERT_EQ(SafeArrayLock(array.get()), S_OK);
    void* data = &data;
    EXPECT_EQ(SafeArrayAccessData(array.get(), &data), E_UNEXPECTED);
    EXPECT_EQ(data, nullptr);
    for (int i = 0; i < 0xFFFF; ++i) ASSERT_EQ(SafeArrayUnlock(array.get()), S_OK);
}

TEST(SafeArray, ACopyThatFailsHalfWayLeavesNothingBehind) {
    const Array array = Make(VT_VARIANT, {{2, 0}});
    DataOf<VARIANT>(array)[0].vt = VT_BSTR;
    DataOf<VARIANT>(array)[0].bstrVal = SysAllocString(u"copied, then given back");
    DataOf<VARIANT>(array)[1].vt = 99;
    LONG at[] = {0};
    EXPECT_EQ(SafeArrayPutElement(array.get(), at, &DataOf<VARIANT>(array)[1]), DISP_E_BADVARTYPE);
    EXPECT_EQ(DataOf<VARIANT>(array)[0].vt, VT_BSTR) << "the old element stays";
    SAFEARRAY* copy = array.get();
    EXPECT_EQ(SafeArrayCopy(array.get(), &copy), DISP_E_BADVARTYPE);
    EXPECT_EQ(copy, nullptr);
}

}  // namespace
