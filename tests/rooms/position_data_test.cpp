// The measurements of a position as one array: shapes, element types, and everything that keeps one from being made.
#include "arrays/convert_array.hpp"
#include "kit/hand_made.hpp"
#include "kit/listener.hpp"
#include "storage/document/document_file.hpp"

namespace lumvex::tests {
namespace {

constexpr HRESULT kNoMemory = E_OUTOFMEMORY;

class PositionData : public ::testing::Test {
protected:
    Project project = Project::Create();
    RoomPosition position = project.Rooms().Add(u"Room").Positions().Add(u"Sofa");
    RoomMeasurements measurements = position.Measurements();

    void Measure(const VARIANT& data) { measurements.Add(u"M").Data(data); }
    HRESULT Got(Variant& result) { return position.Get()->get_Data(result.Out()); }
    // The elements as numbers; what was never filled in is 0.
    static Content Numbers(const VARIANT& value) {
        if (value.vt != (VT_ARRAY | VT_VARIANT)) return ContentOf(value);
        VARIANT* elements = nullptr;
        EXPECT_EQ(SafeArrayAccessData(value.parray, reinterpret_cast<void**>(&elements)), S_OK);
        LONG rows = 0, columns = 0;
        SafeArrayGetUBound(value.parray, 1, &rows);
        SafeArrayGetUBound(value.parray, 2, &columns);
        Content content{VT_VARIANT, {0, 0}, {static_cast<ULONG>(rows + 1), static_cast<ULONG>(columns + 1)}, {}};
        for (LONG at = 0; at < (rows + 1) * (columns + 1); ++at)
            content.values.push_back(elements[at].vt == VT_EMPTY ? 0 : NumberOf(elements[at]));
        SafeArrayUnaccessData(value.parray);
        return content;
    }
};

TEST_F(PositionData, ShortColumnsEndInZerosInEveryType) {
    const Folder folder;
    Measure(Floats({1, 2, 3}));
    Measure(Floats({4, 5, 6, 7, 8}));
    Measure(ArrayOf<float>(VT_R4, {{2, 7}, {3, -1}}, {9, 10, 11, 12, 13, 14}));  // three channels: the first counts
    Measure(ArrayOf<double>(VT_R8, {{2, 3}}, {0.5, -0.25}));
    const auto expect = [&](const char* where) {
        for (const LXArray type : {LX_R4, LX_R8, LX_VT}) {
            SCOPED_TRACE(std::string(where) + " as " + std::to_string(type));
            project.SafeArrayType(type);
            Variant result;
            ASSERT_EQ(Got(result), S_OK);
            ASSERT_EQ(result.vt, VT_ARRAY | static_cast<VARTYPE>(type));
            const Content expected{static_cast<VARTYPE>(type), {0, 0}, {5, 4}, {1, 2,  3, 0, 0, 4,   5,     6, 7, 8,
                                                                                9, 10, 0, 0, 0, 0.5, -0.25, 0, 0, 0}};
            EXPECT_EQ(Numbers(result), expected);
        }
    };
    expect("in memory");
    EXPECT_EQ(Numbers(GetLate(position.Pointer(), 0x27).value), Numbers(position.Data()));
    project.SaveFileAs(PathText(folder / "rooms.lvx"));
    project = Project::Create();
    project.OpenFile(PathText(folder / "rooms.lvx"));
    position = project.Rooms().Item(1).Positions().Item(1);
    expect("in the file");
    project = Project();
}

TEST_F(PositionData, OneMeasurementIsStillTwoDimensional) {
    Measure(Floats({1, 2}));
    EXPECT_EQ(ContentOf(position.Data()), (Content{VT_R4, {0, 0}, {2, 1}, {1, 2}}));
    measurements.Item(1).Data(Floats({}));
    EXPECT_EQ(ContentOf(position.Data()), (Content{VT_R4, {0, 0}, {0, 1}, {}}));
}

TEST_F(PositionData, NothingThereAndNobodyAsking) {
    Variant result = Variant::FromLong(7);
    EXPECT_EQ(Got(result), S_FALSE);
    EXPECT_EQ(result.vt, VT_EMPTY);
    EXPECT_TRUE(FailsBare(E_POINTER, position.Get()->get_Data(nullptr)));
    project.Rooms().RemoveAll();
    EXPECT_TRUE(FailsWith(4009, position.Get()->get_Data(nullptr))) << "the owners come first";
    result = Variant::FromLong(7);
    EXPECT_TRUE(FailsWith(4009, Got(result)));
    EXPECT_EQ(result.vt, VT_EMPTY);
}

TEST_F(PositionData, EveryCauseHasTheOneCode) {
    Measure(Floats({1, 2}));
    Measure(Variant());
    Variant result;
    EXPECT_TRUE(FailsBare(kNoMemory, Got(result))) << "a measurement without data";
    measurements.Item(2).Data(ArrayOf<BYTE>(VT_UI1, {{2, 0}}, {1, 2}));
    EXPECT_TRUE(FailsBare(kNoMemory, Got(result))) << "bytes are no numbers";
    EXPECT_EQ(result.vt, VT_EMPTY);
    measurements.Item(2).Data(Floats({3, 4}));
    EXPECT_EQ(Got(result), S_OK);
}

TEST_F(PositionData, AMeasurementThatCannotBeReadHasItToo) {
    const Folder folder;
    Measure(Floats({1, 2}));
    Measure(Floats({3, 4}));
    const std::u16string lost = inside::StreamNameOf(*ParseGuid(measurements.Item(2).ID()));
    project.SaveFileAs(PathText(folder / "whole.lvx"));
    project = Project();
    position = RoomPosition();
    measurements = RoomMeasurements();
    Streams streams = ReadDocument(folder / "whole.lvx");
    ASSERT_EQ(streams.erase(lost), 1u);
    WriteDocument(folder / "lacking.lvx", streams);
    project = Project::Create();
    project.OpenFile(PathText(folder / "lacking.lvx"));
    position = project.Rooms().Item(1).Positions().Item(1);
    Variant result;
    EXPECT_TRUE(FailsBare(kNoMemory, Got(result)));
    EXPECT_EQ(position.SampleRate(), 48000.0f) << "the first one is there";
}

// Arrays as only records have them.
TEST(SideBySide, StoredArraysOfOtherTypesAndShapes) {
    using namespace inside;
    const auto stored = [](VARTYPE type, Dimensions dimensions, const auto& values) {
        std::vector<std::byte> bytes(std::size(values) * sizeof values[0]);
        if (!bytes.empty()) std::memcpy(bytes.data(), std::data(values), bytes.size());
        return StoredArray::Make(type, std::move(dimensions), std::move(bytes));
    };
    const std::vector<double> doubles{1.5, -2};
    const std::vector<float> none;
    const std::vector<std::uint64_t> variants{VT_I4, 41, VT_R8, 0x4045000000000000};  // 16 bytes each: 41, 42.0
    const ArraySlot columns[] = {stored(VT_R8, {{2, 0}}, doubles), stored(VT_R4, {{3, 0}, {0, 0}}, none),
                                 stored(VT_VARIANT, {{2, 5}}, variants)};
    EXPECT_EQ(ContentOf(ConvertSideBySide(columns, LX_R4)),
              (Content{VT_R4, {0, 0}, {3, 3}, {1.5, -2, 0, 0, 0, 0, 41, 42, 0}}));
    EXPECT_EQ(ContentOf(ConvertSideBySide(columns, LX_R8)),
              (Content{VT_R8, {0, 0}, {3, 3}, {1.5, -2, 0, 0, 0, 0, 41, 42, 0}}));
    const ArraySlot texts[] = {StoredArray::Make(Dimensions{{1, 0}}, std::vector<StoredArray::Text>{u"x"})};
    EXPECT_THROW(ConvertSideBySide(texts, LX_R4), Failure);
}

// Arrays without channels claim any number of rows in a few bytes. They count, but not for gigabytes of zeros.
TEST(SideBySide, RowsWithoutElementsHaveABound) {
    using namespace inside;
    const auto without = [](std::size_t rows) {
        return StoredArray::Make(VARTYPE{VT_R4}, Dimensions{{static_cast<ULONG>(rows), 0}, {0, 0}},
                                 std::vector<std::byte>());
    };
    const auto with = [](std::size_t rows) {
        return StoredArray::Make(VARTYPE{VT_R4}, Dimensions{{static_cast<ULONG>(rows), 0}},
                                 std::vector<std::byte>(rows * sizeof(float)));
    };
    const auto rowsOf = [](const std::vector<ArraySlot>& columns, LXArray type) {
        const Variant made = ConvertSideBySide(columns, type);
        LONG last = 0;
        SafeArrayGetUBound(made.parray, 1, &last);
        return static_cast<std::size_t>(last) + 1;
    };
    for (const auto& [type, size] : {std::pair{LX_R4, 4}, {LX_R8, 8}, {LX_VT, int{sizeof(VARIANT)}}}) {
        SCOPED_TRACE(type);
        const std::size_t most = kMostForEmptyRows / 2 / static_cast<std::size_t>(size);
        EXPECT_EQ(rowsOf({without(most), without(1)}, type), most);
        EXPECT_THROW(rowsOf({without(most + 1), without(1)}, type), Failure);
        EXPECT_THROW(rowsOf({without(0xFFFFFFFF), with(5)}, type), Failure);
        EXPECT_EQ(rowsOf({with(most + 2), without(most + 1)}, type), most + 2) << "elements count without a bound";
    }
}

}  // namespace
}  // namespace lumvex::tests
