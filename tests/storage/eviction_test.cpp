// The load cache under small bounds: what a client holds or has changed stays, the rest comes and goes.
#include "kit/hand_made.hpp"
#include "kit/published.hpp"
#include "lumvex/diagnostics.hpp"

namespace lumvex::tests {
namespace {

constexpr LONG kMembers = 60;

class Eviction : public ::testing::TestWithParam<std::pair<LONG, LONG>> {
protected:
    Eviction() {
        Project made = Project::Create();
        for (LONG member = 1; member <= kMembers; ++member) {
            Datum datum = made.Data().Add(NameOf(member));
            datum.SampleRate(member);
            datum.Data(Floats({static_cast<float>(member), 0}));
        }
        made.SaveFileAs(PathText(path));
        made = Project();
        project.OpenFile(PathText(path));
        project.SetCacheBounds(GetParam().first, GetParam().second);
    }
    static std::u16string NameOf(LONG member) { return FromUtf8("member " + std::to_string(member)); }
    std::size_t Loaded() const { return StatisticsOf(project.Get()).objectsLoaded; }
    std::size_t Lower() const { return static_cast<std::size_t>(GetParam().first); }
    std::size_t Upper() const { return static_cast<std::size_t>(GetParam().second); }
    void Expect(LONG position, LONG rate) {
        const Datum datum = project.Data().Item(position);
        EXPECT_EQ(datum.Name(), NameOf(position));
        EXPECT_EQ(datum.SampleRate(), rate) << position;
        EXPECT_EQ(ContentOf(datum.Data()), FloatContent({static_cast<double>(position), 0}));
    }

    const Folder folder;
    const std::filesystem::path path = folder / "many.lvx";
    Project project = Project::Create();
};

TEST_P(Eviction, OneAfterTheOtherStaysWithinTheBounds) {
    for (int round = 0; round < 2; ++round)
        for (LONG position = 1; position <= kMembers; ++position) {
            Expect(position, position);
            // The one just looked at and its collection were held while they were loaded.
            EXPECT_LE(Loaded(), Upper() + 2);
        }
    EXPECT_FALSE(project.Modified());
}

TEST_P(Eviction, WhatIsHeldStaysTheSameObject) {
    std::vector<Datum> held;
    for (const LONG position : {3, 7, 31}) held.push_back(project.Data().Item(position));
    const Data data = project.Data();
    for (LONG position = 1; position <= kMembers; ++position) Expect(position, position);
    EXPECT_EQ(project.Data().Pointer(), data.Pointer());
    EXPECT_EQ(data.Item(3).Pointer(), held[0].Pointer());
    EXPECT_EQ(data.Item(7).Pointer(), held[1].Pointer());
    EXPECT_EQ(data.Item(31).Pointer(), held[2].Pointer());
    EXPECT_EQ(held[1].Parent().Pointer(), data.Pointer());
    EXPECT_LE(Loaded(), Upper() + 2 * held.size() + 2);
}

TEST_P(Eviction, WhatIsChangedIsNeverLost) {
    for (LONG position = 2; position <= kMembers; position += 5) project.Data().Item(position).SampleRate(-position);
    project.Data().Item(1).Locks(4);
    project.Data().Add(u"new").SampleRate(99);
    const auto expectAll = [&] {
        for (LONG position = 1; position <= kMembers; ++position)
            Expect(position, position % 5 == 2 ? -position : position);
        EXPECT_EQ(project.Data().Item(1).Locks(), 4);
        EXPECT_EQ(project.Data().Item(kMembers + 1).SampleRate(), 99);
    };
    expectAll();
    project.SaveFile();
    EXPECT_LE(Loaded(), Upper()) << "once saved, they go";
    expectAll();
    for (LONG position = 1; position <= kMembers; ++position)
        Expect(position, position % 5 == 2 ? -position : position);
    EXPECT_LE(Loaded(), Upper() + 2) << "once saved, they may go too";
    project = Project::Create();
    project.OpenFile(PathText(path));
    expectAll();
}

TEST_P(Eviction, WhatAClientLetsGoMayGo) {
    std::vector<Datum> all;
    for (LONG position = 1; position <= kMembers; ++position) all.push_back(project.Data().Item(position));
    EXPECT_EQ(Loaded(), static_cast<std::size_t>(kMembers)) << "without their collection, which nobody holds";
    all.resize(Upper() + 5);
    EXPECT_EQ(Loaded(), Upper() + 5) << "as soon as they are let go";
    all.clear();
    EXPECT_EQ(Loaded(), Lower());
    for (LONG position = 1; position <= kMembers; ++position) Expect(position, position);
    project.SetCacheBounds(1, 2);
    for (const LONG position : {1, 20, 40}) Expect(position, position);
    EXPECT_LE(Loaded(), 2u);
}

INSTANTIATE_TEST_SUITE_P(Bounds, Eviction,
                         ::testing::Values(std::pair<LONG, LONG>{1, 2}, std::pair<LONG, LONG>{10, 20}));

}  // namespace
}  // namespace lumvex::tests
