#include <gtest/gtest.h>

#include "lumvex/values.hpp"

namespace {

using lumvex::CompareNoCase;
using lumvex::FromUtf8;
using lumvex::HashNoCase;
using lumvex::ToUpper;
using lumvex::ToUtf8;
using namespace std::string_view_literals;

TEST(Utf8, WellFormedTextGoesBothWays) {
    const std::pair<std::u16string_view, std::string_view> cases[] = {{u""sv, ""sv},
                                                                      {u"a\0b"sv, "a\0b"sv},
                                                                      {u"\x7F\x80"sv, "\x7F\xC2\x80"sv},
                                                                      {u"\x7FF\x800"sv, "\xDF\xBF\xE0\xA0\x80"sv},
                                                                      {u"\uFFFF"sv, "\xEF\xBF\xBF"sv},
                                                                      {u"\U00010000"sv, "\xF0\x90\x80\x80"sv},
                                                                      {u"\U0010FFFF"sv, "\xF4\x8F\xBF\xBF"sv},
                                                                      {u"Ω Lautsprecher"sv, "\xCE\xA9 Lautsprecher"sv}};
    for (const auto& [wide, narrow] : cases) {
        EXPECT_EQ(ToUtf8(wide), narrow);
        EXPECT_EQ(FromUtf8(narrow), wide);
    }
}

TEST(Utf8, EachIllFormedPartBecomesOneReplacement) {
    const std::pair<std::string_view, std::u16string_view> narrow[] = {
        {"\x80"sv, u"\uFFFD"sv},
        {"a\xC2"sv, u"a\uFFFD"sv},
        {"\xC0\xAF"sv, u"\uFFFD\uFFFD"sv},
        {"\xE0\x9F\x80"sv, u"\uFFFD\uFFFD\uFFFD"sv},
        {"\xED\xA0\x80"sv, u"\uFFFD\uFFFD\uFFFD"sv},
        {"\xF0\x9F\x94"sv, u"\uFFFD"sv},
        {"\xF0\x9F\x94z"sv, u"\uFFFDz"sv},
        {"\xF4\x90\x80\x80"sv, u"\uFFFD\uFFFD\uFFFD\uFFFD"sv},
        {"\xFFok"sv, u"\uFFFDok"sv},
        {"\xE2\x82\xE2\x82\xAC"sv, u"\uFFFD\u20AC"sv}};
    for (const auto& [bytes, expected] : narrow) EXPECT_EQ(FromUtf8(bytes), expected);
    const std::pair<std::u16string, std::string_view> wide[] = {
        {{0xD83D}, "\xEF\xBF\xBD"sv},
        {{0xDD0A, u'x'}, "\xEF\xBF\xBDx"sv},
        {{0xD83D, u'x'}, "\xEF\xBF\xBDx"sv},
        {{0xD83D, 0xD83D, 0xDD0A}, "\xEF\xBF\xBD\xF0\x9F\x94\x8A"sv}};
    for (const auto& [units, expected] : wide) EXPECT_EQ(ToUtf8(units), expected);
}

TEST(NoCase, NamesThatDifferOnlyInCaseAreEqualAndHashEqual) {
    const std::pair<std::u16string_view, std::u16string_view> equal[] = {{u"", u""},
                                                                         {u"Front Left", u"FRONT left"},
                                                                         {u"müller ÿ", u"MÜLLER Ÿ"},
                                                                         {u"łódź", u"ŁÓDŹ"},
                                                                         {u"σς", u"ΣΣ"},
                                                                         {u"άώ", u"ΆΏ"},
                                                                         {u"громкость ѐ", u"ГРОМКОСТЬ Ѐ"},
                                                                         {u"աֆ", u"ԱՖ"},
                                                                         {u"ა", u"Ა"},
                                                                         {u"ａｚ", u"ＡＺ"},
                                                                         {u"ｱ", u"ｱ"},
                                                                         {u"ǆ ǅ", u"Ǆ Ǆ"},
                                                                         {u"\u212A \u212B \u2126", u"k å ω"},
                                                                         {u"µ", u"μ"},
                                                                         {u"ß", u"ẞ"},
                                                                         {u"ⅷ ⓩ", u"Ⅷ Ⓩ"},
                                                                         {u"ᾳ ạ", u"ᾼ Ạ"},
                                                                         {u"ꭰ Ᏸ", u"Ꭰ ᏸ"}};
    for (const auto& [left, right] : equal) {
        EXPECT_EQ(CompareNoCase(left, right), 0) << ToUtf8(left) << ' ' << ToUtf8(right);
        EXPECT_EQ(HashNoCase(left), HashNoCase(right)) << ToUtf8(left) << ' ' << ToUtf8(right);
    }
    const std::pair<std::u16string_view, std::u16string_view> ordered[] = {
        {u"", u"a"},  {u"a", u"ab"}, {u"A", u"b"},          {u"a", u"B"},     {u"Z", u"_"},
        {u"z", u"_"}, {u"e", u"é"},  {u"i", u"ı"},          {u"I", u"İ"},     {u"ss", u"ß"},
        {u"x", u"×"}, {u"×", u"÷"},  {u"a\0"sv, u"a\0b"sv}, {u"а", u"\xFFFF"}};
    for (const auto& [less, more] : ordered) {
        EXPECT_LT(CompareNoCase(less, more), 0) << ToUtf8(less) << ' ' << ToUtf8(more);
        EXPECT_GT(CompareNoCase(more, less), 0) << ToUtf8(less) << ' ' << ToUtf8(more);
        EXPECT_NE(HashNoCase(less), HashNoCase(more)) << ToUtf8(less) << ' ' << ToUtf8(more);
    }
}

TEST(NoCase, AnUpperCaseFormIsItsOwn) {
    int changed = 0;
    for (int unit = 0; unit < 0x10000; ++unit) {
        const char16_t upper = ToUpper(static_cast<char16_t>(unit));
        ASSERT_EQ(ToUpper(upper), upper) << std::hex << unit;
        if ((unit & 0xF800) == 0xD800) {
            ASSERT_EQ(upper, unit);
        }
        changed += upper != unit;
    }
    EXPECT_EQ(changed, 1194);  // the plane's units that fold onto another, as of Unicode 14
}

}  // namespace
