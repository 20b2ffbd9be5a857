// What stands in the file, byte for byte, and how object IDs become names.
#include "storage/compound/format/object_name.hpp"
#include "support.hpp"

namespace lumvex::tests {
namespace {

std::string Hex(const Bytes& image, std::size_t offset, std::size_t count) {
    std::string text;
    for (std::size_t i = offset; i < offset + count; ++i) {
        const auto byte = std::to_integer<unsigned>(image.at(i));
        text += "0123456789abcdef"[byte >> 4];
        text += "0123456789abcdef"[byte & 15];
    }
    return text;
}

std::string Repeated(const std::string& text, std::size_t count) {
    std::string all;
    for (std::size_t i = 0; i < count; ++i) all += text;
    return all;
}

// Three streams: "ab" of 3 bytes, "B" of 70 bytes, "c" of 5000. In file order: the large stream, the mini stream, the
// mini FAT, the directory, the FAT.
TEST(Layout, OfASmallVersion3FileIsAsWrittenHere) {
    const Bytes image = ImageOf(
        {{u"ab", Bytes(3, std::byte{0x11})}, {u"B", Bytes(70, std::byte{0x22})}, {u"c", Bytes(5000, std::byte{0x33})}},
        3);
    ASSERT_EQ(image.size(), 512u * 15);
    EXPECT_EQ(Hex(image, 0, 76), "d0cf11e0a1b11ae1" + Repeated("00", 16) +
                                     "3e00"
                                     "0300"
                                     "feff"
                                     "0900"
                                     "0600"
                                     "000000000000"
                                     "00000000"  // directory sectors: not counted in version 3
                                     "01000000"  // FAT sectors
                                     "0c000000"  // first directory sector
                                     "03000000"  // the first commit
                                     "00100000"  // cutoff
                                     "0b000000"  // first mini FAT sector
                                     "01000000"
                                     "feffffff"  // no DIFAT sectors
                                     "00000000");
    EXPECT_EQ(Hex(image, 76, 436), "0d000000" + Repeated("ffffffff", 108));
    EXPECT_EQ(Hex(image, 512, 5000), Repeated("33", 5000));
    EXPECT_EQ(Hex(image, 512 + 5000, 120), Repeated("00", 120));
    // Mini stream in sector 10: "B" in two mini sectors, "ab" in one.
    EXPECT_EQ(Hex(image, 512 * 11, 192),
              Repeated("22", 70) + Repeated("00", 58) + Repeated("11", 3) + Repeated("00", 61));
    EXPECT_EQ(Hex(image, 512 * 12, 20),
              "01000000"
              "feffffff"
              "feffffff"
              "ffffffff"
              "ffffffff");
    // Names by length first: "B", "c", "ab". The middle one is the top; all levels are full, so all are black.
    const std::size_t directory = 512 * 13;
    const auto entry = [&](const std::string& name, std::size_t nameBytes, const std::string& kind,
                           const std::string& rest) {
        return name + Repeated("00", 64 - name.size() / 2) + Hex({std::byte(nameBytes)}, 0, 1) + "00" + kind +
               rest.substr(0, 24) + Repeated("00", 36) + rest.substr(24);
    };
    EXPECT_EQ(Hex(image, directory, 128), entry("52006f006f007400200045006e00740072007900", 22, "0501",
                                                "ffffffff"
                                                "ffffffff"
                                                "01000000"
                                                "0a000000"
                                                "c000000000000000"));
    EXPECT_EQ(Hex(image, directory + 128, 128), entry("6300", 4, "0201",
                                                      "02000000"
                                                      "03000000"
                                                      "ffffffff"
                                                      "00000000"
                                                      "8813000000000000"));
    EXPECT_EQ(Hex(image, directory + 256, 128), entry("4200", 4, "0201",
                                                      "ffffffff"
                                                      "ffffffff"
                                                      "ffffffff"
                                                      "00000000"
                                                      "4600000000000000"));
    EXPECT_EQ(Hex(image, directory + 384, 128), entry("61006200", 6, "0201",
                                                      "ffffffff"
                                                      "ffffffff"
                                                      "ffffffff"
                                                      "02000000"
                                                      "0300000000000000"));
    std::string fat;
    for (int i = 1; i < 10; ++i) fat += "0" + std::to_string(i) + "000000";
    EXPECT_EQ(Hex(image, 512 * 14, 4 * 16), fat +
                                                "feffffff"
                                                "feffffff"
                                                "feffffff"
                                                "feffffff"
                                                "fdffffff"
                                                "ffffffff"
                                                "ffffffff");
}

TEST(Layout, OfAnEmptyVersion4FileIsAHeaderADirectoryAndAFat) {
    const Bytes image = ImageOf({}, 4);
    ASSERT_EQ(image.size(), 4096u * 3);
    EXPECT_EQ(Hex(image, 24, 8), "3e000400feff0c00");
    EXPECT_EQ(Hex(image, 40, 36),
              "01000000"
              "01000000"
              "00000000"
              "03000000"
              "00100000"
              "feffffff"
              "00000000"
              "feffffff"
              "00000000");
    EXPECT_EQ(Hex(image, 512, 3584), Repeated("00", 3584));
    EXPECT_EQ(Hex(image, 4096 + 64, 16),
              "16000501"
              "ffffffff"
              "ffffffff"
              "ffffffff");
    EXPECT_EQ(Hex(image, 4096 + 116, 12),
              "feffffff"
              "0000000000000000");
    EXPECT_EQ(Hex(image, 4096 + 128 + 64, 16),
              "00000000"
              "ffffffff"
              "ffffffff"
              "ffffffff");
    EXPECT_EQ(Hex(image, 8192, 12),
              "feffffff"
              "fdffffff"
              "ffffffff");
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
    }
    EXPECT_EQ(IdOfName(u"vvvvvvvvvvvvvvvvvvvvvvvvvs"), id("ffffffffffffffffffffffffffffffff"));
    for (const std::u16string& other : {std::u16string(25, u'0'), std::u16string(27, u'0'), std::u16string(26, u'V'),
                                        std::u16string(25, u'0') + u"W", u"\uFF10" + std::u16string(25, u'0')})
        EXPECT_EQ(IdOfName(other), std::nullopt);
}

}  // namespace
}  // namespace lumvex::tests
