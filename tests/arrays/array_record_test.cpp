// The array record byte for byte.
#include "arrays/array_record.hpp"

#include "core/base/failure.hpp"
#include "kit/hand_made.hpp"
#include "kit/published.hpp"

namespace lumvex::tests {
namespace {

using namespace inside;

std::shared_ptr<const ByteSource> SourceOf(const Bytes& bytes) { return std::make_shared<MemorySource>(bytes); }

// What a record holds, for comparison: type, dimensions, and the elements as they lie in memory.
struct Described {
    VARTYPE type = VT_EMPTY;
    std::vector<std::pair<LONG, ULONG>> dimensions;  // lower bound, count
    std::string elements;
    std::vector<StoredArray::Text> texts;
    bool operator==(const Described&) const = default;
};

Described Describe(const ArraySlot& slot) {
    if (!slot) return {};
    Bytes elements(slot->ByteSize());
    slot->CopyTo(elements);
    Described described{slot->Type(), {}, AsHex(elements), slot->Texts()};
    for (const Dimension& each : slot->Shape()) described.dimensions.emplace_back(each.lLbound, each.cElements);
    return described;
}

std::string Written(const ArraySlot& slot) {
    RecordWriter writer;
    WriteArrayRecord(writer, slot);
    EXPECT_EQ(writer.Size(), writer.Joined().size());
    return AsHex(writer.Joined());
}

// In memory, as it is before a record is written.
ArraySlot InMemory(const ArraySlot& slot) {
    if (!slot || !slot->InFile()) return slot;
    Bytes elements(slot->ByteSize());
    slot->CopyTo(elements);
    return StoredArray::Make(slot->Type(), slot->Shape(), elements);
}

TEST(ArrayRecord, ReadsAndWritesEveryType) {
    const struct {
        const char* what;
        std::string record;
        Described array;
        std::string writtenAgain;  // empty: the same bytes
    } cases[] = {
        {"none", "00 00", {}, ""},
        {"floats, lower bound 1",
         "02 00  01 00 00 00  04 00  01 00 00 00 02 00 00 00  00 00 80 3F 00 00 00 C0",
         {VT_R4, {{1, 2}}, "00 00 80 3F 00 00 00 C0", {}},
         ""},
        {"type 0 is float",
         "02 00  01 00 00 00  00 00  00 00 00 00 00 00 00 00  00 00 80 3F",
         {VT_R4, {{0, 1}}, "00 00 80 3F", {}},
         "02 00  01 00 00 00  04 00  00 00 00 00 00 00 00 00  00 00 80 3F"},
        {"doubles",
         "02 00  01 00 00 00  05 00  FF FF FF FF FF FF FF FF  00 00 00 00 00 00 F8 3F",
         {VT_R8, {{-1, 1}}, "00 00 00 00 00 00 F8 3F", {}},
         ""},
        {"bytes in two dimensions",
         "02 00  02 00 00 00  11 00  00 00 00 00 01 00 00 00  05 00 00 00 07 00 00 00  01 02 03 04 05 06",
         {VT_UI1, {{0, 2}, {5, 3}}, "01 02 03 04 05 06", {}},
         ""},
        {"a variant's 16 bytes",
         "02 00  01 00 00 00  0C 00  00 00 00 00 00 00 00 00  04 00 00 00 00 00 00 00 00 00 80 3F 00 00 00 00",
         {VT_VARIANT, {{0, 1}}, "04 00 00 00 00 00 00 00 00 00 80 3F 00 00 00 00", {}},
         ""},
        {"no elements",
         "02 00  02 00 00 00  04 00  01 00 00 00 00 00 00 00  00 00 00 00 01 00 00 00",
         {VT_R4, {{1, 0}, {0, 2}}, "", {}},
         ""},
        {"the first and last index there are",
         "02 00  02 00 00 00  11 00  00 00 00 80 00 00 00 80  FF FF FF 7F FF FF FF 7F  2A",
         {VT_UI1, {{static_cast<LONG>(0x80000000), 1}, {0x7FFFFFFF, 1}}, "2A", {}},
         ""},
        {"older: floats",
         "01 00  01 00 00 00  04 00 00 00  00 00 00 00 01 00 00 00  00 00 80 3F 00 00 00 40",
         {VT_R4, {{0, 2}}, "00 00 80 3F 00 00 00 40", {}},
         "02 00  01 00 00 00  04 00  00 00 00 00 01 00 00 00  00 00 80 3F 00 00 00 40"},
        {"older: doubles",
         "01 00  01 00 00 00  08 00 00 00  01 00 00 00 01 00 00 00  00 00 00 00 00 00 F0 BF",
         {VT_R8, {{1, 1}}, "00 00 00 00 00 00 F0 BF", {}},
         "02 00  01 00 00 00  05 00  01 00 00 00 01 00 00 00  00 00 00 00 00 00 F0 BF"},
        {"older: variants",
         "01 00  01 00 00 00  10 00 00 00  00 00 00 00 00 00 00 00  03 00 00 00 00 00 00 00 07 00 00 00 00 00 00 00",
         {VT_VARIANT, {{0, 1}}, "03 00 00 00 00 00 00 00 07 00 00 00 00 00 00 00", {}},
         "02 00  01 00 00 00  0C 00  00 00 00 00 00 00 00 00  03 00 00 00 00 00 00 00 07 00 00 00 00 00 00 00"},
        {"a null text, an empty one, text with a zero inside",
         "02 00  01 00 00 00  08 00  00 00 00 00 02 00 00 00"
         "00 00 00 00  02 00 00 00 00 00  08 00 00 00 41 00 00 00 E4 00 00 00",
         {VT_BSTR, {{0, 3}}, "", {std::nullopt, u"", std::u16string(u"A\0\u00E4", 3)}},
         ""},
        // Two rows of three: the record goes along the rows, memory down the columns.
        {"texts in two dimensions",
         "02 00  02 00 00 00  08 00  01 00 00 00 02 00 00 00  00 00 00 00 02 00 00 00"
         "04 00 00 00 61 00 00 00  04 00 00 00 62 00 00 00  04 00 00 00 63 00 00 00"
         "04 00 00 00 64 00 00 00  00 00 00 00  04 00 00 00 66 00 00 00",
         {VT_BSTR, {{1, 2}, {0, 3}}, "", {u"a", u"d", u"b", std::nullopt, u"c", u"f"}},
         ""},
        // Two by three by two, and dimensions of one element in between.
        {"texts in five dimensions",
         "02 00  05 00 00 00  08 00  00 00 00 00 01 00 00 00  00 00 00 00 00 00 00 00  00 00 00 00 02 00 00 00"
         "01 00 00 00 01 00 00 00  FF FF FF FF 00 00 00 00" +
             [] {
                 std::string texts;
                 for (const BYTE letter : {'a', 'b', 'c', 'd', 'e', 'f', 'g', 'h', 'i', 'j', 'k', 'l'})
                     texts += "04 00 00 00" + AsHex({std::byte{letter}}) + "00 00 00";
                 return texts;
             }(),
         {VT_BSTR,
          {{0, 2}, {0, 1}, {0, 3}, {1, 1}, {-1, 2}},
          "",
          {u"a", u"g", u"c", u"i", u"e", u"k", u"b", u"h", u"d", u"j", u"f", u"l"}},
         ""},
        {"no texts", "02 00  01 00 00 00  08 00  00 00 00 00 FF FF FF FF", {VT_BSTR, {{0, 0}}, "", {}}, ""},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.what);
        const Bytes record = Hex(each.record);
        RecordReader reader(SourceOf(record + Hex("AA BB")));
        ArraySlot slot;
        ReadArrayRecord(reader, slot);
        EXPECT_EQ(reader.Left(), 2u) << "what follows the record is somebody else's";
        const Described described = Describe(slot);
        EXPECT_EQ(described.type, each.array.type);
        EXPECT_EQ(described.dimensions, each.array.dimensions);
        EXPECT_EQ(described.elements, each.array.elements);
        EXPECT_EQ(described.texts, each.array.texts);
        EXPECT_EQ(Written(InMemory(slot)), AsHex(each.writtenAgain.empty() ? record : Hex(each.writtenAgain)));
    }
}

HRESULT Read(const Bytes& record) {
    ArraySlot slot;
    RecordReader reader(SourceOf(record));
    try {
        ReadArrayRecord(reader, slot);
    } catch (const Failure& failure) {
        EXPECT_FALSE(slot) << "no partial array is ever stored";
        return failure.Status();
    }
    return S_OK;
}

TEST(ArrayRecord, HostileOnesAreRefusedBeforeAnythingIsMadeOfThem) {
    constexpr HRESULT kType = Status(0x80040FA7), kRead = STG_E_READFAULT;
    const struct {
        const char* what;
        std::string record;
        HRESULT status;
    } cases[] = {
        {"format 3", "03 00 01 00 00 00 04 00", kType},
        {"format 0xFFFF", "FF FF 01 00 00 00 04 00", kType},
        {"16-bit integers", "02 00 01 00 00 00 02 00  00 00 00 00 00 00 00 00 00 00", kType},
        {"objects", "02 00 01 00 00 00 09 00  00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00", kType},
        {"type and flag", "02 00 01 00 00 00 04 20  00 00 00 00 00 00 00 00 00 00 00 00", kType},
        {"older: size 2", "01 00 01 00 00 00 02 00 00 00  00 00 00 00 00 00 00 00 00 00", kType},
        {"older: size 0", "01 00 01 00 00 00 00 00 00 00  00 00 00 00 00 00 00 00", kType},
        {"no dimensions", "02 00 00 00 00 00 04 00", kRead},
        {"no dimensions, but an element", "02 00 00 00 00 00 04 00  00 00 80 3F", kRead},
        {"nothing, then less than nothing", "02 00 02 00 00 00 04 00  00 00 00 00 FF FF FF FF  05 00 00 00 00 00 00 00",
         kRead},
        {"a product of 2 to the power of 64",
         "02 00 04 00 00 00 04 00  00 00 00 00 FF FF 00 00  00 00 00 00 FF FF 00 00  00 00 00 00 FF FF 00 00  00 00 00 "
         "00 "
         "FF FF 00 00",
         kRead},
        {"more dimensions than bytes", "02 00 FF FF FF FF 04 00  00 00 00 00 00 00 00 00", kRead},
        {"every index there is", "02 00 01 00 00 00 11 00  00 00 00 80 FF FF FF 7F  00", kRead},
        {"four thousand million floats", "02 00 01 00 00 00 04 00  00 00 00 80 FE FF FF 7F  00 00 00 00", kRead},
        {"a product beyond 64 bits",
         "02 00 03 00 00 00 04 00  00 00 00 00 FE FF FF 7F  00 00 00 00 FE FF FF 7F  00 00 00 00 FE FF FF 7F  00 00 00 "
         "00",
         kRead},
        {"upper two below lower", "02 00 01 00 00 00 04 00  05 00 00 00 03 00 00 00", kRead},
        {"one element short", "02 00 01 00 00 00 04 00  00 00 00 00 01 00 00 00  00 00 80 3F 00 00 00", kRead},
        {"a thousand million texts", "02 00 01 00 00 00 08 00  00 00 00 00 FF FF FF 3F  00 00 00 00", kRead},
        {"a text longer than the record", "02 00 01 00 00 00 08 00  00 00 00 00 00 00 00 00  FE FF FF 7F 41 00 00 00",
         kRead},
        {"a text of half a unit", "02 00 01 00 00 00 08 00  00 00 00 00 00 00 00 00  03 00 00 00 41 00 00", kRead},
        {"a text without room for its end", "02 00 01 00 00 00 08 00  00 00 00 00 00 00 00 00  01 00 00 00 00", kRead},
    };
    for (const auto& each : cases) EXPECT_EQ(InHex(Read(Hex(each.record))), InHex(each.status)) << each.what;

    const Bytes whole =
        Hex("02 00 02 00 00 00 08 00  00 00 00 00 00 00 00 00  00 00 00 00 01 00 00 00"
            "04 00 00 00 61 00 00 00  06 00 00 00 62 00 63 00 00 00");
    EXPECT_EQ(Read(whole), S_OK);
    for (std::size_t length = 0; length < whole.size(); ++length)
        EXPECT_EQ(InHex(Read(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length)))), InHex(kRead))
            << length;
}

// A SAFEARRAY counts its dimensions in 16 bits. Those of one element cost nothing when texts are put in their places:
// here there are so many texts as well that a walk through all dimensions for each of them would not come to an end.
TEST(ArrayRecord, AsManyDimensionsAsAClientCanBeGiven) {
    constexpr std::uint32_t kMost = 65'535, kTexts = 100'000;
    const auto textsIn = [](std::uint32_t dimensions) {
        RecordWriter record;
        record.U16(2);
        record.U32(dimensions);
        record.U16(VT_BSTR);
        for (std::uint32_t at = 0; at < dimensions; ++at) {
            record.I32(0);
            record.I32(at == 0 ? kTexts - 1 : 0);
        }
        for (std::uint32_t at = 0; at < kTexts; ++at) record.U32(0);
        return record.Joined();
    };
    const Bytes record = textsIn(kMost);
    RecordReader reader(SourceOf(record));
    ArraySlot slot;
    ReadArrayRecord(reader, slot);
    EXPECT_EQ(slot->Shape().size(), kMost);
    EXPECT_EQ(Written(slot), AsHex(record));
    EXPECT_EQ(InHex(Read(textsIn(kMost + 1))), InHex(STG_E_READFAULT));
}

}  // namespace
}  // namespace lumvex::tests
