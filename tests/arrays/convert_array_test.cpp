#include "arrays/convert_array.hpp"

#include <limits>

#include "kit/published.hpp"

namespace lumvex::tests {
namespace {

using namespace inside;

template <class T>
ArraySlot Stored(VARTYPE type, Dimensions dimensions, const std::vector<T>& values) {
    const auto bytes = std::as_bytes(std::span(values));
    return StoredArray::Make(type, std::move(dimensions), std::vector<std::byte>(bytes.begin(), bytes.end()));
}

// A stored array as the getter with its own element type would show it.
Content StoredContent(const ArraySlot& slot) {
    if (!slot) return {};
    Content content{slot->Type(), {}, {}, {}};
    for (const Dimension& dimension : slot->Shape()) {
        content.lower.push_back(dimension.lLbound);
        content.count.push_back(dimension.cElements);
    }
    std::vector<std::byte> bytes(slot->ByteSize());
    slot->CopyTo(bytes);
    for (std::size_t at = 0; at < slot->Count(); ++at) {
        float value = 0;
        if (slot->Type() == VT_R4) std::memcpy(&value, &bytes[at * 4], 4);
        content.values.push_back(slot->Type() == VT_R4 ? double{value} : std::to_integer<int>(bytes[at]));
    }
    return content;
}

// The status of a put into a slot that already holds something; a refused put must leave that very array.
HRESULT Put(const VARIANT& value, LONG channels, Content* stored = nullptr) {
    const ArraySlot old = Stored<float>(VT_R4, {{2, 0}}, {8, 9});
    ArraySlot slot = old;
    try {
        ConvertArrayIn(value, slot, channels);
    } catch (const Failure& failure) {
        EXPECT_EQ(slot, old) << "a refused put changed the array";
        return failure.Status();
    }
    if (stored) *stored = StoredContent(slot);
    return S_OK;
}

VARIANT Element(VARTYPE type, double value) {
    VARIANT element{};
    element.vt = type;
    if (type == VT_I4) element.lVal = static_cast<LONG>(value);
    if (type == VT_R4) element.fltVal = static_cast<float>(value);
    if (type == VT_R8) element.dblVal = value;
    if (type == VT_I2) element.iVal = static_cast<SHORT>(value);
    return element;
}

constexpr HRESULT kChannels = Status(0x80040FA2), kDimensions = Status(0x80040FA3), kNoArray = Status(0x80040FA4),
                  kType = Status(0x80040FA7);

TEST(ArrayIn, AcceptedElementTypesAndTheirBounds) {
    const double inf = std::numeric_limits<double>::infinity();
    const struct {
        const char* what;
        Variant given;
        Content stored;
    } cases[] = {
        {"floats keep their bounds", ArrayOf<float>(VT_R4, {{3, 1}}, {1, -2, 0.5f}), {VT_R4, {1}, {3}, {1, -2, 0.5}}},
        {"and in two dimensions",
         ArrayOf<float>(VT_R4, {{2, -7}, {3, 4}}, {1, 2, 3, 4, 5, 6}),
         {VT_R4, {-7, 4}, {2, 3}, {1, 2, 3, 4, 5, 6}}},
        {"bytes too, and stay bytes", ArrayOf<BYTE>(VT_UI1, {{3, 5}}, {0, 255, 7}), {VT_UI1, {5}, {3}, {0, 255, 7}}},
        {"integers start at 0", ArrayOf<LONG>(VT_I4, {{2, 1}}, {-3, 16777217}), {VT_R4, {0}, {2}, {-3, 16777216}}},
        {"doubles are narrowed",
         ArrayOf<double>(VT_R8, {{3, 9}, {1, 9}}, {0.1, -inf, 3}),
         {VT_R4, {0, 0}, {3, 1}, {double{0.1f}, -inf, 3}}},
        {"variants by their own type",
         ArrayOf<VARIANT>(VT_VARIANT, {{2, 1}, {2, 1}},
                          {Element(VT_I4, 1), Element(VT_R4, 2.5), Element(VT_R8, 0.1), Element(VT_I4, -4)}),
         {VT_R4, {0, 0}, {2, 2}, {1, 2.5, double{0.1f}, -4}}},
        {"one element in two dimensions", ArrayOf<float>(VT_R4, {{1, 0}, {1, 0}}, {7}), {VT_R4, {0, 0}, {1, 1}, {7}}},
        {"none in one", Floats({}), {VT_R4, {0}, {0}, {}}},
        {"none of two columns", ArrayOf<double>(VT_R8, {{0, 3}, {2, 3}}, {}), {VT_R4, {0, 0}, {0, 2}, {}}},
        {"no columns", ArrayOf<BYTE>(VT_UI1, {{2, 3}, {0, 3}}, {}), {VT_UI1, {3, 3}, {2, 0}, {}}},
        {"the last index there is",
         ArrayOf<float>(VT_R4, {{2, 0x7FFFFFFE}}, {1, 2}),
         {VT_R4, {0x7FFFFFFE}, {2}, {1, 2}}},
        {"empty takes it all away", Variant(), {}},
    };
    for (const auto& each : cases) {
        Content stored;
        EXPECT_EQ(Put(each.given, kAnyChannels, &stored), S_OK) << each.what;
        EXPECT_EQ(stored, each.stored) << each.what;
    }
}

TEST(ArrayIn, RefusesEverythingElseAndKeepsWhatItHad) {
    Variant array = Floats({1, 2}), byReference, toVariant, null, nothing;
    byReference.vt = VT_ARRAY | VT_R4 | VT_BYREF;
    byReference.pparray = &array.parray;
    toVariant.vt = VT_VARIANT | VT_BYREF;
    toVariant.pvarVal = &array;
    null.vt = VT_NULL;
    nothing.vt = VT_ARRAY | VT_R4;
    const VARIANT one = Element(VT_R4, 1);
    const struct {
        const char* what;
        Variant given;
        HRESULT status;
    } cases[] = {
        {"null", null, kNoArray},
        {"a number", Variant::FromDouble(1), kNoArray},
        {"a text", Variant::FromText(u"1 2 3"), kNoArray},
        {"a reference to a variant", toVariant, kNoArray},
        {"a reference to an array", byReference, kType},
        {"16-bit integers", ArrayOf<SHORT>(VT_I2, {{2, 0}}, {1, 2}), kType},
        {"64-bit integers", ArrayOf<LONGLONG>(VT_I8, {{2, 0}}, {1, 2}), kType},
        {"dates", ArrayOf<double>(VT_DATE, {{2, 0}}, {1, 2}), kType},
        {"truth values", ArrayOf<SHORT>(VT_BOOL, {{2, 0}}, {0, -1}), kType},
        {"texts", ArrayOf<BSTR>(VT_BSTR, {{2, 0}}, {nullptr, nullptr}), kType},
        {"objects", ArrayOf<IDispatch*>(VT_DISPATCH, {{2, 0}}, {nullptr, nullptr}), kType},
        {"a variant that holds nothing", ArrayOf<VARIANT>(VT_VARIANT, {{2, 0}}, {one, VARIANT{}}), kType},
        {"a variant that holds a small integer", ArrayOf<VARIANT>(VT_VARIANT, {{2, 0}}, {one, Element(VT_I2, 1)}),
         kType},
        {"three dimensions", ArrayOf<float>(VT_R4, {{1, 0}, {1, 0}, {2, 0}}, {1, 2}), kDimensions},
        {"three dimensions of texts", ArrayOf<BSTR>(VT_BSTR, {{1, 0}, {1, 0}, {1, 0}}, {nullptr}), kDimensions},
        {"one element in one dimension", Floats({1}), DISP_E_BADINDEX},
        {"one element of a refused type", ArrayOf<SHORT>(VT_I2, {{1, 5}}, {1}), DISP_E_BADINDEX},
    };
    for (const auto& each : cases) EXPECT_EQ(InHex(Put(each.given, kAnyChannels)), InHex(each.status)) << each.what;
    EXPECT_EQ(InHex(Put(nothing, kAnyChannels)), InHex(kNoArray));
    nothing.vt = VT_EMPTY;

    Variant withText = ArrayOf<VARIANT>(VT_VARIANT, {{2, 0}}, {one, VARIANT{}});
    auto* elements = static_cast<VARIANT*>(withText.parray->pvData);
    Variant::FromText(u"2").Detach(&elements[1]);
    EXPECT_EQ(InHex(Put(withText, kAnyChannels)), InHex(kType));
}

// A variant may say another type than its array has: what its elements are would be read by the wrong size.
TEST(ArrayIn, TheVariantAndItsArrayMeanTheSameType) {
    const VARIANT one = Element(VT_R4, 1);
    Variant arrays[] = {ArrayOf<float>(VT_R4, {{2, 0}}, {1, 1}),
                        ArrayOf<double>(VT_R8, {{2, 0}}, {1, 1}),
                        ArrayOf<LONG>(VT_I4, {{2, 0}}, {1, 1}),
                        ArrayOf<BYTE>(VT_UI1, {{2, 0}}, {1, 1}),
                        ArrayOf<VARIANT>(VT_VARIANT, {{2, 0}}, {one, one}),
                        ArrayOf<LONG>(VT_ERROR, {{2, 0}}, {1, 1}),
                        ArrayOf<BSTR>(VT_BSTR, {{2, 0}}, {nullptr, nullptr})};
    for (Variant& array : arrays) {
        const VARTYPE own = array.vt;
        for (const VARTYPE said : {VT_R4, VT_R8, VT_I4, VT_UI1, VT_VARIANT}) {
            array.vt = static_cast<VARTYPE>(VT_ARRAY | said);
            EXPECT_EQ(InHex(Put(array, kAnyChannels)), InHex(array.vt == own ? S_OK : kType))
                << "an array of type " << (own & ~VT_ARRAY) << " given as " << said;
        }
        array.vt = own;
    }
}

TEST(ArrayIn, ChannelsStandInTheSecondDimension) {
    const Variant one = Floats({1, 2}), none = Floats({}), single = Floats({1});
    const Variant two = ArrayOf<float>(VT_R4, {{3, 0}, {2, 0}}, {1, 2, 3, 4, 5, 6});
    const Variant texts = ArrayOf<BSTR>(VT_BSTR, {{1, 0}, {3, 0}}, {nullptr, nullptr, nullptr});
    const struct {
        const Variant* given;
        LONG channels;
        HRESULT status;
    } cases[] = {{&one, -1, S_OK},
                 {&one, 1, S_OK},
                 {&one, 0, kChannels},
                 {&one, 2, kChannels},
                 {&none, 1, S_OK},
                 {&none, 2, kChannels},
                 {&two, -1, S_OK},
                 {&two, 2, S_OK},
                 {&two, 1, kChannels},
                 {&two, 3, kChannels},
                 {&two, 0, kChannels},
                 {&single, 1, DISP_E_BADINDEX},
                 {&single, 2, DISP_E_BADINDEX},
                 {&texts, 2, kChannels},
                 {&texts, 3, kType}};
    for (const auto& each : cases)
        EXPECT_EQ(InHex(Put(*each.given, each.channels)), InHex(each.status))
            << SafeArrayGetDim(each.given->parray) << " dimensions for " << each.channels << " channels";
}

// ---- out ------------------------------------------------------------------------------------------------------------

TEST(ArrayOut, EveryStoredTypeInEveryAnswer) {
    const ArraySlot floats = Stored<float>(VT_R4, {{2, 1}, {2, -1}}, {0.5f, -2, 300, 255});
    const ArraySlot doubles = Stored<double>(VT_R8, {{2, 3}}, {0.1, 1e3});
    const ArraySlot bytes = Stored<BYTE>(VT_UI1, {{3, 4}}, {0, 128, 255});
    const struct {
        const char* what;
        ArraySlot stored;
        LONG type;
        Content answer;
    } cases[] = {
        {"floats as floats, bounds kept", floats, LX_R4, {VT_R4, {1, -1}, {2, 2}, {0.5, -2, 300, 255}}},
        {"floats as doubles, bounds 0", floats, LX_R8, {VT_R8, {0, 0}, {2, 2}, {0.5, -2, 300, 255}}},
        {"floats as variants, bounds 0", floats, LX_VT, {VT_VARIANT, {0, 0}, {2, 2}, {0.5, -2, 300, 255}}},
        {"floats as bytes", floats, LX_UI1, {VT_UI1, {1, -1}, {2, 2}, {0, 0, 255, 255}}},
        {"doubles as floats", doubles, LX_R4, {VT_R4, {3}, {2}, {double{0.1f}, 1e3}}},
        {"doubles as doubles", doubles, LX_R8, {VT_R8, {0}, {2}, {0.1, 1e3}}},
        {"doubles as variants", doubles, LX_VT, {VT_VARIANT, {0}, {2}, {double{0.1f}, 1e3}}},
        {"bytes stay bytes", bytes, LX_UI1, {VT_UI1, {4}, {3}, {0, 128, 255}}},
        {"bytes stay bytes", bytes, LX_R4, {VT_UI1, {4}, {3}, {0, 128, 255}}},
        {"bytes stay bytes", bytes, LX_VT, {VT_UI1, {4}, {3}, {0, 128, 255}}},
        {"no elements", Stored<float>(VT_R4, {{0, 2}, {2, 2}}, {}), LX_R8, {VT_R8, {0, 0}, {0, 2}, {}}},
        {"no elements", Stored<float>(VT_R4, {{0, 2}, {2, 2}}, {}), LX_R4, {VT_R4, {2, 2}, {0, 2}, {}}},
        {"nothing stored", nullptr, LX_R4, {}},
    };
    for (const auto& each : cases)
        EXPECT_EQ(ContentOf(ConvertArrayOut(each.stored, each.type)), each.answer) << each.what;
    for (const LONG type : {-1, 0, 3, 6, 8, 11, 13, 16, 18, 0x2004})
        EXPECT_EQ(ConvertArrayOut(floats, type).vt, VT_EMPTY) << type;
}

TEST(ArrayOut, NumbersThatAreNoBytesStayWithinThem) {
    const float nan = std::numeric_limits<float>::quiet_NaN(), inf = std::numeric_limits<float>::infinity();
    const ArraySlot floats = Stored<float>(VT_R4, {{5, 0}}, {nan, inf, -inf, 254.9f, -0.1f});
    EXPECT_EQ(ContentOf(ConvertArrayOut(floats, LX_UI1)), (Content{VT_UI1, {0}, {5}, {0, 255, 0, 254, 0}}));
}

// Variants lie in old records as their 16 bytes: the type, 6 bytes, the value.
TEST(ArrayOut, RawVariantsAndTexts) {
    std::vector<std::byte> raw(7 * 16);
    const auto put = [&](std::size_t at, USHORT type, auto value) {
        std::memcpy(&raw[at * 16], &type, sizeof type);
        std::memcpy(&raw[at * 16 + 8], &value, sizeof value);
    };
    put(0, VT_R4, 0.5f);
    put(1, VT_R8, -8.25);
    put(2, VT_I4, LONG{77});
    put(3, VT_I2, SHORT{-3});
    put(4, VT_BSTR, std::uint64_t{0xDEADBEEFDEADBEEF});  // an address of another process
    put(5, VT_BOOL, VARIANT_TRUE);
    put(6, VT_UI1, BYTE{200});
    const auto variants = StoredArray::Make(VARTYPE{VT_VARIANT}, Dimensions{{7, 1}}, raw);
    const std::vector<double> values{0.5, -8.25, 77, -3, 0, -1, 200};
    EXPECT_EQ(ContentOf(ConvertArrayOut(variants, LX_R4)), (Content{VT_R4, {1}, {7}, values}));
    EXPECT_EQ(ContentOf(ConvertArrayOut(variants, LX_R8)), (Content{VT_R8, {0}, {7}, values}));
    EXPECT_EQ(ContentOf(ConvertArrayOut(variants, LX_VT)), (Content{VT_VARIANT, {0}, {7}, values}));

    const auto texts = StoredArray::Make(Dimensions{{3, 2}}, std::vector<StoredArray::Text>{u"a", std::nullopt, u""});
    for (const LONG type : {LX_R4, LX_R8, LX_VT, LX_UI1}) {
        const Variant answer = ConvertArrayOut(texts, type);
        ASSERT_EQ(answer.vt, VT_ARRAY | VT_BSTR);
        const auto* elements = static_cast<const BSTR*>(answer.parray->pvData);
        EXPECT_EQ(TextOf(elements[0]), u"a");
        EXPECT_EQ(elements[1], nullptr);
        EXPECT_NE(elements[2], nullptr);
        LONG lower = 0;
        EXPECT_EQ(SafeArrayGetLBound(answer.parray, 1, &lower), S_OK);
        EXPECT_EQ(lower, 2);
    }
}

TEST(ArrayOut, SixteenMillionElements) {
    constexpr ULONG kRows = 1 << 20, kColumns = 16;
    std::vector<float> values(std::size_t{kRows} * kColumns);
    for (std::size_t at = 0; at < values.size(); ++at) values[at] = static_cast<float>(at);  // all exact up to 2^24
    ArraySlot slot;
    ConvertArrayIn(ArrayOf(VT_R4, {{kRows, 0}, {kColumns, 0}}, values), slot, kColumns);
    const Variant floats = ConvertArrayOut(slot, LX_R4), doubles = ConvertArrayOut(slot, LX_R8);
    EXPECT_EQ(std::memcmp(floats.parray->pvData, values.data(), values.size() * sizeof(float)), 0);
    const auto* wide = static_cast<const double*>(doubles.parray->pvData);
    std::size_t wrong = 0;
    for (std::size_t at = 0; at < values.size(); ++at) wrong += wide[at] != values[at] ? 1 : 0;
    EXPECT_EQ(wrong, 0u);
}

}  // namespace
}  // namespace lumvex::tests
