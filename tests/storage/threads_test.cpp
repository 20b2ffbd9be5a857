#include <thread>

#include "kit/hand_made.hpp"
#include "kit/published.hpp"
#include "lumvex/diagnostics.hpp"

namespace lumvex::tests {
namespace {

TEST(DocumentThreads, TwoOnTwoFiles) {
    const Folder folder;
    const auto work = [&](const char* name) {
        for (int round = 0; round < 10; ++round) {
            Project project = Project::Create();
            if (round > 0) project.OpenFile(PathText(folder / name));
            EXPECT_EQ(project.Data().Count(), round);
            project.Data().Add(u"member").Data(Floats({1, 2, 3}));
            if (round > 0)
                project.SaveFile();
            else
                project.SaveFileAs(PathText(folder / name));
        }
    };
    std::thread other(work, "a.lvx");
    work("b.lvx");
    other.join();
    for (const char* name : {"a.lvx", "b.lvx"}) EXPECT_TRUE(CheckDocument(folder / name).empty()) << name;
}

TEST(DocumentThreads, OneSavesWhileAnotherReadsAndWrites) {
    const Folder folder;
    const std::filesystem::path path = folder / "a.lvx";
    Project project = Project::Create();
    for (int member = 0; member < 30; ++member) project.Data().Add(u"member").Data(Floats({1, 2, 3}));
    project.SaveFileAs(PathText(path));
    project = Project::Create();
    project.OpenFile(PathText(path));
    project.SetCacheBounds(3, 6);
    std::thread other([&] {
        for (int round = 0; round < 20; ++round) project.SaveFile();
    });
    for (LONG round = 0; round < 300; ++round) {
        Datum datum = project.Data().Item(round % 30 + 1);
        EXPECT_EQ(ContentOf(datum.Data()), FloatContent({1, 2, 3}));
        if (round % 7 == 0) datum.SampleRate(round);
    }
    other.join();
    project.SaveFile();
    project = Project();
    EXPECT_TRUE(CheckDocument(path).empty());
}

TEST(DocumentThreads, TwoRootsReadOneFileInTurns) {
    const Folder folder;
    WriteDocument(folder / "a.lvx", SmallDocument());
    const auto work = [&] {
        for (int round = 0; round < 20; ++round) {
            Project project = Project::Create();
            project.AccessMode(LX_SHARE_READ);
            project.OpenFile(PathText(folder / "a.lvx"));
            EXPECT_EQ(project.Data().Item(2).Name(), u"Second");
        }
    };
    std::thread other(work);
    work();
    other.join();
}

}  // namespace
}  // namespace lumvex::tests
