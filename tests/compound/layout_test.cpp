// What is in the file, byte for byte, and how object IDs become names.
#include "storage/compound/format/object_name.hpp"
#include "storage/compound/format/stream_lengths.hpp"
#include "support.hpp"

namespace lumvex::tests {
namespace {

// hex: two digits a byte; spaces only separate fields.
void ExpectBytes(const Bytes& image, std::size_t offset, std::string hex) {
    std::erase(hex, ' ');
    std::string found;
    for (std::size_t i = offset; i < offset + hex.size() / 2; ++i) {
        const auto byte = std::to_integer<unsigned>(image.at(i));
        found += "0123456789abcdef"[byte >> 4];
        found += "0123456789abcdef"[byte & 15];
    }
    EXPECT_EQ(found, hex) << "at byte " << offset;
}

std::string Repeated(const std::string& text, std::size_t count) {
    std::string all;
    for (std::size_t i = 0; i < count; ++i) all += text;
    return all;
}

// A directory entry: name, length of the name, type and colour; links; first sector and size.
std::string EntryText(const std::string& name, const std::string& kind, const std::string& links,
                      const std::string& content) {
    return name + Repeated("00", 64 - name.size() / 2) + kind + links + Repeated("00", 36) + content;
}

// Three streams: "ab" of 3 bytes, "B" of 70 bytes, "c" of 5000. In file order: seven free sectors, which share the
// header's 4,096 bytes, the large stream, the mini stream, the mini FAT, the directory, the FAT.
TEST(Layout, OfASmallVersion3FileIsAsWrittenHere) {
    const Bytes image = ImageOf(
        {{u"ab", Bytes(3, std::byte{0x11})}, {u"B", Bytes(70, std::byte{0x22})}, {u"c", Bytes(5000, std::byte{0x33})}},
        3);
    ASSERT_EQ(image.size(), 512u * 22);
    ExpectBytes(image, 0, "d0cf11e0a1b11ae1" + Repeated("00", 16) + "3e00 0300 feff 0900 0600 000000000000");
    // Sectors: directory (not counted in version 3), FAT; first of the directory; the first commit; cutoff; first and
    // count of the mini FAT; no DIFAT sectors; the FAT sector.
    ExpectBytes(image, 40,
                "00000000 01000000 13000000 03000000 00100000 12000000 01000000 feffffff 00000000 14000000" +
                    Repeated("ffffffff", 108));
    ExpectBytes(image, 512, Repeated("00", 7 * 512) + Repeated("33", 5000) + Repeated("00", 120));
    // Mini stream in sector 17: "B" in two mini sectors, "ab" in one.
    ExpectBytes(image, 512 * 18, Repeated("22", 70) + Repeated("00", 58) + Repeated("11", 3) + Repeated("00", 61));
    ExpectBytes(image, 512 * 19, "01000000 feffffff feffffff ffffffff ffffffff");
    // Names by length first: "B", "c", "ab". The middle one is the top; all levels are full, so all are black.
    const std::string none = "ffffffff ffffffff ffffffff";
    ExpectBytes(image, 512 * 20,
                EntryText("52006f006f007400200045006e00740072007900", "1600 0501", "ffffffff ffffffff 01000000",
                          "11000000 c000000000000000") +
                    EntryText("6300", "0400 0201", "02000000 03000000 ffffffff", "07000000 8813000000000000") +
                    EntryText("4200", "0400 0201", none, "00000000 4600000000000000") +
                    EntryText("61006200", "0600 0201", none, "02000000 0300000000000000"));
    std::string fat = Repeated("ffffffff", 7);
    for (const char* next : {"08", "09", "0a", "0b", "0c", "0d", "0e", "0f", "10"}) fat += next + std::string("000000");
    ExpectBytes(image, 512 * 21, fat + Repeated("feffffff", 4) + "fdffffff ffffffff ffffffff");
}

TEST(Layout, OfAnEmptyVersion4FileIsAHeaderADirectoryAndAFat) {
    const Bytes image = ImageOf({}, 4);
    ASSERT_EQ(image.size(), 4096u * 3);
    ExpectBytes(image, 24, "3e00 0400 feff 0c00");
    ExpectBytes(image, 40, "01000000 01000000 00000000 03000000 00100000 feffffff 00000000 feffffff 00000000");
    ExpectBytes(image, 512, Repeated("00", 3584));
    ExpectBytes(image, 4096 + 64, "1600 0501 ffffffff ffffffff ffffffff");
    ExpectBytes(image, 4096 + 116, "feffffff 0000000000000000");
    ExpectBytes(image, 4096 + 128 + 64, "0000 0000 ffffffff ffffffff ffffffff");
    ExpectBytes(image, 8192, "feffffff fdffffff ffffffff");
}

TEST(StreamLengths, TellHowLongAFileBecomesAndWhichVersionSuitsIt) {
    for (const std::vector<std::size_t>& sizes : {std::vector<std::size_t>{},
                                                  {0},
                                                  {1, 64, 65},
                                                  {4095, 4096, 4097},
                                                  std::vector<std::size_t>(300, 16'446),
                                                  std::vector<std::size_t>(500, 16'446),
                                                  std::vector<std::size_t>(2000, 182),
                                                  {5'000'000, 1, 700'001}}) {
        Content content;
        StreamLengths lengths;
        for (const std::size_t size : sizes) {
            content[Name(static_cast<unsigned>(content.size()))] = Bytes(size);
            lengths.Add(size);
        }
        for (const int version : {3, 4})
            EXPECT_EQ(lengths.FileLength(version), ImageOf(content, version).size()) << version << ", " << sizes.size();
    }
    const struct {
        std::uint64_t bytes, streams;
        int version;
    } kCases[] = {
        {100, 10, 3},        {600'000, 1, 3},     {1'030'000, 1, 3}, {1'040'000, 1, 4},  // 1 MB
        {182, 60'000, 4},    {524'350, 400, 4},   {16'446, 60, 3},   {16'446, 5000, 3},
        {16'446, 15'630, 3}, {16'446, 15'650, 4},  // 256 MB
        {32'900, 2000, 3},   {49'300, 2000, 4},    // a sixteenth
    };
    for (const auto& [bytes, streams, version] : kCases) {
        StreamLengths lengths;
        lengths.Add(bytes, streams);
        EXPECT_EQ(lengths.BestVersion(), version)
            << streams << " of " << bytes << ": " << lengths.FileLength(3) << ", " << lengths.FileLength(4);
    }
}

TEST(ObjectNames, AreBase32HexOfTheIdsBytes) {
    const auto id = [](const std::string& hex) {
        std::array<std::byte, 16> bytes{};
        for (std::size_t i = 0; i < 16; ++i)
            bytes[i] = static_cast<std::byte>(std::stoul(hex.substr(2 * i, 2), nullptr, 16));
        return bytes;
    };
    const std::pair<std::string, std::u16string> kPairs[] = {
        {"00000000000000000000000000000000", u"00000000000000000000000000"},
        {"ffffffffffffffffffffffffffffffff", u"VVVVVVVVVVVVVVVVVVVVVVVVVS"},
        {"0123456789abcdef0123456789abcdef", u"04HKAPS9LF6UU0938LJOJAUDTS"},
    };
    for (const auto& [hex, name] : kPairs) {
        EXPECT_EQ(NameOfId(id(hex)), name);
        EXPECT_EQ(IdOfName(name), id(hex));
        const auto object = ObjectNameOf(name);
        ASSERT_TRUE(object);
        std::array<char16_t, kObjectNameLength> text;
        WriteText(*object, text);
        EXPECT_EQ(std::u16string(text.begin(), text.end()), name);
    }
    EXPECT_TRUE(ObjectNameOf(kPairs[0].second) < ObjectNameOf(kPairs[2].second));
    EXPECT_EQ(IdOfName(u"vvvvvvvvvvvvvvvvvvvvvvvvvs"), id("ffffffffffffffffffffffffffffffff"));
    for (const std::u16string& other : {std::u16string(25, u'0'), std::u16string(27, u'0'), std::u16string(26, u'V'),
                                        std::u16string(25, u'0') + u"W", u"\uFF10" + std::u16string(25, u'0')})
        EXPECT_TRUE(!IdOfName(other) && !ObjectNameOf(other));
    const std::u16string digits = u"0123456789ABCDEFGHIJKLMNOPQRSTUV";
    for (std::size_t at = 0; at < kObjectNameLength; ++at)
        for (unsigned unit = 0; unit <= 0xFFFF; ++unit) {
            std::u16string name = kPairs[2].second;
            name[at] = static_cast<char16_t>(unit);
            const bool isLower = unit >= u'a' && unit <= u'z';
            const std::size_t digit = digits.find(static_cast<char16_t>(isLower ? unit - 32 : unit));
            const auto found = IdOfName(name);
            const bool isName = digit != std::u16string::npos && (at + 1 < kObjectNameLength || digit % 4 == 0);
            ASSERT_EQ(found.has_value(), isName) << at << " " << unit;
            ASSERT_EQ(ObjectNameOf(name).has_value(), isName && !isLower) << at << " " << unit;
            if (!isName) continue;
            name[at] = digits[digit];
            ASSERT_EQ(NameOfId(*found), name);
        }
}

}  // namespace
}  // namespace lumvex::tests
