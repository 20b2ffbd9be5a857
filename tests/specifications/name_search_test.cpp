// Searching long collections by name, against a plain list that does the same.
#include <random>

#include "kit/hand_made.hpp"
#include "kit/listener.hpp"
#include "storage/document/document_file.hpp"
#include "storage/records/failures.hpp"

namespace lumvex::tests {
namespace {

class NameSearch : public ::testing::Test {
protected:
    struct Known {
        std::u16string name, id;
    };
    Folder folder;
    Specifications library = Specifications::Create();
    std::vector<Known> list;
    std::mt19937 random{20260101};

    std::size_t Any(std::size_t count) { return std::uniform_int_distribution<std::size_t>(0, count - 1)(random); }

    // Few enough names that they repeat, in either case.
    std::u16string AnyName() {
        const std::u16string number = FromUtf8(std::to_string(Any(60)));
        return (Any(2) == 0 ? u"Mikrofon \u00E4" : u"MIKROFON \u00C4") + number;
    }

    void Step() {
        Microphones microphones = library.Microphones();
        switch (Any(list.size() < 80 ? 4 : 6)) {
            case 0:
            case 1: {
                const std::u16string name = AnyName();
                list.push_back({name, microphones.Add(name).ID()});
                break;
            }
            case 2:
            case 3:
                if (list.empty()) return;
                {
                    const std::size_t at = Any(list.size());
                    list[at].name = AnyName();
                    microphones.Item(static_cast<LONG>(at + 1)).Name(list[at].name);
                }
                break;
            default: {
                const std::size_t at = Any(list.size());
                list.erase(list.begin() + static_cast<std::ptrdiff_t>(at));
                microphones.Remove(static_cast<LONG>(at + 1));
            }
        }
    }

    void ExpectFound(const std::u16string& name) {
        const auto known =
            std::ranges::find_if(list, [&](const Known& each) { return CompareNoCase(each.name, name) == 0; });
        const Microphone found = library.Microphones().FindName(name).As<Microphone>();
        ASSERT_EQ(static_cast<bool>(found), known != list.end()) << ToUtf8(name);
        if (found) {
            ASSERT_EQ(ToUtf8(found.ID()), ToUtf8(known->id)) << ToUtf8(name) << " is not the first";
        }
    }
};

// Members that are changed and saved, in memory and in the file alone, renamed through the list and found by their ID.
TEST_F(NameSearch, FindsTheFirstOfTheNameWhereverTheMembersAre) {
    library.AccessMode(LX_SHARE_READWRITE);
    library.SaveFileAs(PathText(folder / "a.lvs"));
    for (int round = 0; round < 60; ++round) {
        for (std::size_t steps = Any(30); steps > 0; --steps) Step();
        if (!list.empty()) {
            Known& known = list[Any(list.size())];
            known.name = AnyName();
            library.Load(known.id).As<Microphone>().Name(known.name);
        }
        if (Any(2) == 0) library.SaveFile();
        for (int search = 0; search < 5; ++search) ASSERT_NO_FATAL_FAILURE(ExpectFound(AnyName())) << round;
        if (Any(3) != 0) continue;
        library.SaveFile();
        library = Specifications::Create();
        library.AccessMode(LX_SHARE_READWRITE);
        library.OpenFile(PathText(folder / "a.lvs"));
        for (std::size_t search = Any(5); search > 0; --search)
            ASSERT_NO_FATAL_FAILURE(ExpectFound(AnyName())) << round;
    }
}

// Forty microphones "0" to "39" of which one, or its stream, is damaged.
TEST_F(NameSearch, AMemberThatCannotBeLoadedEndsTheSearchBeforeIt) {
    constexpr unsigned kCount = 40, kDamaged = 20;
    library.AccessMode(LX_SHARE_READWRITE);
    std::u16string damaged;
    for (unsigned number = 0; number < kCount; ++number) {
        const Microphone made = library.Microphones().Add(FromUtf8(std::to_string(number)));
        if (number == kDamaged) damaged = made.ID();
    }
    library.SaveFileAs(PathText(folder / "a.lvs"));
    library.CloseFile();
    Streams streams = ReadDocument(folder / "a.lvs");
    streams[inside::StreamNameOf(ParseGuid(damaged).value())].resize(20);
    WriteDocument(folder / "a.lvs", streams);
    library = Specifications::Create();
    library.OpenFile(PathText(folder / "a.lvs"));
    const Microphones microphones = library.Microphones();
    for (int round = 0; round < 2; ++round) {
        EXPECT_TRUE(microphones.FindName(u"19"));
        for (const char16_t* beyond : {u"20", u"21", u"nobody"}) {
            Variant found;
            EXPECT_TRUE(FailsBare(inside::kReadFault, microphones.Get()->FindName(Bstr(beyond).get(), found.Out())));
            EXPECT_EQ(found.vt, VT_EMPTY);
        }
    }
}

TEST_F(NameSearch, OrphanedCollectionsFailHoweverOftenTheyWereSearched) {
    Microphones microphones = library.Microphones();
    for (int number = 0; number < 100; ++number) microphones.Add(FromUtf8(std::to_string(number)));
    EXPECT_FALSE(microphones.FindName(u"nobody"));
    library = Specifications();
    Variant found;
    EXPECT_TRUE(FailsWith(4009, microphones.Get()->FindName(Bstr(u"nobody").get(), found.Out())));
    EXPECT_TRUE(FailsWith(4009, microphones.Get()->FindName(Bstr(u"5").get(), found.Out())));
}

}  // namespace
}  // namespace lumvex::tests
