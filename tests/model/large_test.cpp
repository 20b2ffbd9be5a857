// Documents of a size that shows what grows faster than it should.
#include "kit/hand_made.hpp"
#include "kit/published.hpp"
#include "lumvex/diagnostics.hpp"

namespace lumvex::tests {
namespace {

TEST(Large, AHundredThousandItemsInOneCollection) {
    constexpr LONG kMembers = 100000;
    const Folder folder;
    const std::filesystem::path path = folder / "large.lvx";
    const std::size_t before = inside::LiveObjects();
    Project project = Project::Create();
    {
        const Data data = project.Data();
        for (LONG member = 1; member <= kMembers; ++member)
            data.Add(FromUtf8(std::to_string(member))).SampleRate(member);
    }
    project.SaveFileAs(PathText(path));
    project = Project::Create();
    project.OpenFile(PathText(path));
    project.SetCacheBounds(1000, 2000);
    Data data = project.Data();
    ASSERT_EQ(data.Count(), kMembers);
    for (const LONG position : std::initializer_list<LONG>{1, 2, 50000, 99999, kMembers}) {
        const Datum datum = data.Item(position);
        EXPECT_EQ(datum.Name(), FromUtf8(std::to_string(position)));
        EXPECT_EQ(datum.SampleRate(), position);
        EXPECT_EQ(data.FindID(datum.ID()).Pointer(), datum.Pointer());
    }
    EXPECT_LT(StatisticsOf(project.Get()).objectsLoaded, 10u) << "only what was asked for";

    // Every member once, by its enumerator, and from there up to its owner.
    LONG seen = 0;
    for (const Object& object : data.Enumerate()) {
        const Datum datum = object.As<Datum>();
        EXPECT_EQ(datum.SampleRate(), ++seen);
        if (seen % 5000 == 0) {
            EXPECT_EQ(datum.Parent().Pointer(), data.Pointer());
        }
    }
    EXPECT_EQ(seen, kMembers);
    EXPECT_LE(StatisticsOf(project.Get()).objectsLoaded, 2002u);

    data.Remove(kMembers / 2);
    data.Add(u"one more");
    project.SaveFile();
    EXPECT_EQ(data.Item(kMembers / 2).SampleRate(), kMembers / 2 + 1);
    EXPECT_EQ(data.Item(kMembers).Name(), u"one more");
    project = Project();
    EXPECT_TRUE(CheckDocument(path).empty());
    EXPECT_EQ(inside::LiveObjects(), before + 1) << "the collection that is held";
}

TEST(Large, EmptyingACollectionDoesNotLookAtEveryMemberForEveryMember) {
    constexpr LONG kMembers = 20000;
    Project project = Project::Create();
    const Data data = project.Data();
    for (LONG member = 0; member < kMembers; ++member) data.Add(u"member");
    data.Item(kMembers / 2).Locks(1);
    EXPECT_TRUE(FailsWith(4018, data.Get()->RemoveAll()));
    EXPECT_EQ(data.Count(), 1);
    EXPECT_EQ(data.Item(1).Locks(), 1);
}

}  // namespace
}  // namespace lumvex::tests
