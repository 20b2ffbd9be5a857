// Arrays that do not know their type, as a host makes them that allocates the descriptor itself.
#include "arrays/convert_array.hpp"
#include "kit/published.hpp"

namespace lumvex::tests {
namespace {

HRESULT Put(SAFEARRAY* array, VARTYPE said) {
    VARIANT value{};
    value.vt = static_cast<VARTYPE>(VT_ARRAY | said);
    value.parray = array;
    inside::ArraySlot slot;
    try {
        inside::ConvertArrayIn(value, slot, inside::kAnyChannels);
    } catch (const inside::Failure& failure) {
        return failure.Status();
    }
    return slot && slot->Count() == 2 ? S_OK : E_UNEXPECTED;
}

TEST(UntypedArrays, AreTakenWhereTheirElementsHaveTheSizeOfTheType) {
    for (const ULONG size : {1, 2, 4, 8, int{sizeof(VARIANT)}}) {
        SAFEARRAY* array = nullptr;
        ASSERT_EQ(SafeArrayAllocDescriptor(1, &array), S_OK);
        array->cbElements = size;
        array->rgsabound[0] = {2, 0};
        ASSERT_EQ(SafeArrayAllocData(array), S_OK);
        for (const auto& [said, itsSize] : {std::pair<VARTYPE, ULONG>{VT_UI1, 1}, {VT_R4, 4}, {VT_I4, 4}, {VT_R8, 8}})
            EXPECT_EQ(InHex(Put(array, said)), InHex(size == itsSize ? S_OK : Status(0x80040FA7)))
                << said << " of " << size << " bytes";
        SafeArrayDestroy(array);
    }
}

}  // namespace
}  // namespace lumvex::tests
