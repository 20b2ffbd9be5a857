#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <optional>
#include <set>
#include <thread>

#include "automation/random.hpp"
#include "generic/key_stream.hpp"
#include "lumvex/values.hpp"

namespace {

constexpr GUID kGuid{0x09A5CDEB, 0x2933, 0x4F88, {0x91, 0x96, 0xE1, 0x3F, 0x80, 0x99, 0x3A, 0xBB}};
constexpr char16_t kText[] = u"{09A5CDEB-2933-4F88-9196-E13F80993ABB}";

TEST(Guid, TextForms) {
    EXPECT_EQ(lumvex::ToText(kGuid), kText);
    EXPECT_EQ(lumvex::ParseGuid(kText), kGuid);
    EXPECT_EQ(lumvex::ParseGuid(u"{09a5cdeb-2933-4f88-9196-e13f80993abb}"), kGuid);

    LPOLESTR text = nullptr;
    ASSERT_EQ(StringFromCLSID(kGuid, &text), S_OK);
    GUID parsed{};
    EXPECT_EQ(CLSIDFromString(text, &parsed), S_OK);
    EXPECT_EQ(parsed, kGuid);
    CoTaskMemFree(text);

    OLECHAR buffer[39];
    EXPECT_EQ(StringFromGUID2(kGuid, buffer, 38), 0);
    EXPECT_EQ(StringFromGUID2(kGuid, buffer, 39), 39);
    EXPECT_EQ(buffer[38], 0);
}

TEST(Guid, OtherTextIsRefusedAndGivesZero) {
    for (const char16_t* text :
         {u"", u"{}", u"Project", u"09A5CDEB-2933-4F88-9196-E13F80993ABB", u"{09A5CDEB-2933-4F88-9196-E13F80993ABB",
          u"{09A5CDEB-2933-4F88-9196-E13F80993ABB}x", u" {09A5CDEB-2933-4F88-9196-E13F80993ABB}",
          u"{09A5CDEB-2933-4F88-9196-E13F80993ABG}", u"{09A5CDEB-29334-F88-9196-E13F80993ABB}",
          u"{09A5CDEB 2933-4F88-9196-E13F80993ABB}", u"(09A5CDEB-2933-4F88-9196-E13F80993ABB)",
          u"{+9A5CDEB-2933-4F88-9196-E13F80993ABB}"}) {
        GUID guid = kGuid;
        EXPECT_EQ(CLSIDFromString(text, &guid), CO_E_CLASSSTRING) << lumvex::ToUtf8(text);
        EXPECT_EQ(guid, GUID_NULL);
        EXPECT_FALSE(lumvex::ParseGuid(text));
    }
    GUID guid = kGuid;
    EXPECT_EQ(CLSIDFromString(nullptr, &guid), S_OK);
    EXPECT_EQ(guid, GUID_NULL);
    EXPECT_EQ(CLSIDFromString(kText, nullptr), E_INVALIDARG);
}

TEST(Guid, NewOnesAreRandomVersionFourAndAllDifferent) {
    std::set<std::u16string> seen[2];
    const auto make = [](std::set<std::u16string>& texts) {
        for (int i = 0; i < 2000; ++i) {
            GUID guid{};
            ASSERT_EQ(CoCreateGuid(&guid), S_OK);
            ASSERT_EQ(guid.Data3 >> 12, 4);
            ASSERT_EQ(guid.Data4[0] >> 6, 2);
            texts.insert(lumvex::ToText(guid));
        }
    };
    std::thread other(make, std::ref(seen[1]));
    make(seen[0]);
    other.join();
    seen[0].merge(seen[1]);
    EXPECT_EQ(seen[0].size(), 4000u);
    // Every digit that is not fixed takes all sixteen values.
    for (std::size_t at = 1; at < 37; ++at) {
        std::set<char16_t> digits;
        for (const auto& text : seen[0]) digits.insert(text[at]);
        const std::size_t expected = at == 9 || at == 14 || at == 19 || at == 24 || at == 15 ? 1 : at == 20 ? 4 : 16;
        EXPECT_EQ(digits.size(), expected) << at;
    }
    EXPECT_EQ(CoCreateGuid(nullptr), E_POINTER);
}

// Published: key and nonce of zeros, the first block.
TEST(Guid, RandomBytesAreThoseOfChaChaWithEightRounds) {
    constexpr std::array<std::uint8_t, 64> kFirst{
        0x3e, 0x00, 0xef, 0x2f, 0x89, 0x5f, 0x40, 0xd6, 0x7f, 0x5b, 0xb8, 0xe8, 0x1f, 0x09, 0xa5, 0xa1,
        0x2c, 0x84, 0x0e, 0xc3, 0xce, 0x9a, 0x7f, 0x3b, 0x18, 0x1b, 0xe1, 0x88, 0xef, 0x71, 0x1a, 0x1e,
        0x98, 0x4c, 0xe1, 0x72, 0xb9, 0x21, 0x6f, 0x41, 0x9f, 0x44, 0x53, 0x67, 0x45, 0x6d, 0x56, 0x19,
        0x31, 0x4a, 0x42, 0xa3, 0xda, 0x86, 0xb0, 0x01, 0x38, 0x7b, 0xfd, 0xb8, 0x0e, 0x0c, 0xfe, 0x42};
    std::array<std::byte, lumvex::kStreamPart> part;
    lumvex::KeyStream({}, 0, part);
    EXPECT_EQ(std::memcmp(part.data(), kFirst.data(), kFirst.size()), 0);
}

TEST(Guid, GuessesAreRight) {
    int guesses = 0;
    for (int i = 0; i < 100; ++i) {
        const std::optional<GUID> guess = lumvex::inside::GuessNextGuid();
        GUID made{};
        ASSERT_EQ(CoCreateGuid(&made), S_OK);
        if (!guess) continue;
        EXPECT_EQ(*guess, made);
        ++guesses;
    }
    EXPECT_GT(guesses, 90);
}

TEST(Guid, BothSidesOfAForkMakeDifferentOnes) {
    GUID mine{}, theirs{};
    ASSERT_EQ(CoCreateGuid(&mine), S_OK);  // this thread has some of the system's bytes now
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    const pid_t child = ::fork();
    if (child == 0) {
        GUID made{};
        CoCreateGuid(&made);
        ::_exit(::write(ends[1], &made, sizeof made) == sizeof made ? 0 : 1);
    }
    ASSERT_EQ(::read(ends[0], &theirs, sizeof theirs), ssize_t{sizeof theirs});
    ::waitpid(child, nullptr, 0);
    ASSERT_EQ(CoCreateGuid(&mine), S_OK);
    EXPECT_NE(lumvex::ToText(mine), lumvex::ToText(theirs));
    ::close(ends[0]);
    ::close(ends[1]);
}

}  // namespace
