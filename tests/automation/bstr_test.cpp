#include <gtest/gtest.h>

#include <cstring>

#include "lumvex/values.hpp"

namespace {

using lumvex::TextOf;
using namespace std::string_view_literals;

TEST(BstrText, LengthCountsZerosAndATerminatorFollows) {
    for (const auto text : {u""sv, u"a"sv, u"Left\0Right\0"sv, u"\0"sv, u"\xD83D\xDD0A loud"sv}) {
        const BSTR made = SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
        ASSERT_NE(made, nullptr);
        EXPECT_EQ(SysStringLen(made), text.size());
        EXPECT_EQ(SysStringByteLen(made), 2 * text.size());
        EXPECT_EQ(TextOf(made), text);
        EXPECT_EQ(made[text.size()], 0);
        UINT prefix = 0;  // clients read the length where the platform keeps it
        std::memcpy(&prefix, reinterpret_cast<const char*>(made) - 4, 4);
        EXPECT_EQ(prefix, 2 * text.size());
        SysFreeString(made);
    }
}

TEST(BstrText, NullIsEmptyAndFreeable) {
    EXPECT_EQ(SysAllocString(nullptr), nullptr);
    EXPECT_EQ(SysStringLen(nullptr), 0u);
    EXPECT_EQ(SysStringByteLen(nullptr), 0u);
    EXPECT_TRUE(TextOf(nullptr).empty());
    SysFreeString(nullptr);
    const BSTR zeros = SysAllocStringLen(nullptr, 3);
    EXPECT_EQ(TextOf(zeros), u"\0\0\0"sv);
    SysFreeString(zeros);
}

TEST(BstrText, OddByteLengthIsKeptAndTerminated) {
    const BSTR made = SysAllocStringByteLen("abc", 3);
    EXPECT_EQ(SysStringByteLen(made), 3u);
    EXPECT_EQ(SysStringLen(made), 1u);
    EXPECT_EQ(std::memcmp(made, "abc\0\0\0", 6), 0);
    SysFreeString(made);
}

TEST(BstrText, LengthsThatCannotBeAreRefused) {
    EXPECT_EQ(SysAllocStringLen(u"x", 0x80000000u), nullptr);
    EXPECT_EQ(SysAllocStringByteLen("x", 0xFFFFFFFFu), nullptr);
    BSTR kept = SysAllocString(u"kept");
    EXPECT_EQ(SysReAllocStringLen(&kept, u"x", 0xFFFFFFFFu), 0);
    EXPECT_EQ(TextOf(kept), u"kept");
    SysFreeString(kept);
}

TEST(BstrText, ReallocationTakesItsOwnTextAndKeepsWhatFits) {
    BSTR text = SysAllocString(u"crossover");
    ASSERT_EQ(SysReAllocStringLen(&text, text + 5, 4), 1);
    EXPECT_EQ(TextOf(text), u"over");
    ASSERT_EQ(SysReAllocStringLen(&text, nullptr, 6), 1);
    EXPECT_EQ(TextOf(text), u"over\0\0"sv);
    ASSERT_EQ(SysReAllocStringLen(&text, nullptr, 2), 1);
    EXPECT_EQ(TextOf(text), u"ov");
    ASSERT_EQ(SysReAllocString(&text, u"new"), 1);
    EXPECT_EQ(TextOf(text), u"new");
    ASSERT_EQ(SysReAllocString(&text, nullptr), 1);
    EXPECT_EQ(text, nullptr);
}

}  // namespace
