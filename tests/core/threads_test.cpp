// Threads beside each other: every call is serialised, and a last release may come from anywhere.
#include <atomic>
#include <thread>

#include "kit/published.hpp"

namespace lumvex::tests {
namespace {

constexpr int kRounds = 400;

TEST(Threads, TwoOnOneDocument) {
    const std::size_t before = inside::LiveObjects();
    {
        Project project = Project::Create();
        const auto work = [&](char16_t name) {
            for (int round = 0; round < kRounds; ++round) {
                const Data data = project.Data();
                Datum datum = data.Add(std::u16string(1, name));
                datum.SampleRate(round);
                datum.Data(Floats({1, 2, 3}));
                EXPECT_EQ(ContentOf(datum.Data()), FloatContent({1, 2, 3}));
                EXPECT_EQ(datum.SampleRate(), round);
                EXPECT_EQ(data.NameExists(std::u16string(1, name)), 1);
                LONG exists = 7;
                data.Get()->NameExists(Bstr(u"nobody").get(), &exists);
                EXPECT_EQ(TakeErrorInfo().description, u"The object could not be located.");
            }
        };
        std::thread other(work, u'A');
        work(u'B');
        other.join();
        EXPECT_EQ(project.Data().Count(), 2 * kRounds);
    }
    EXPECT_EQ(inside::LiveObjects(), before);
}

TEST(Threads, TwoOnTwoDocuments) {
    const auto work = [] {
        for (int round = 0; round < kRounds / 10; ++round) {
            Project project = Project::Create();
            for (int member = 0; member < 20; ++member) project.Data().Add(u"A").Locks(member % 2);
            EXPECT_EQ(project.Data().Get()->RemoveAll(), Status(0x80040FB2));
            EXPECT_EQ(project.Data().Count(), 10);
        }
    };
    std::thread other(work);
    work();
    other.join();
}

// One thread lets go of the root while another is inside a call that works on it.
TEST(Threads, TheLastReleaseOfTheRootMeetsCallsBelow) {
    const std::size_t before = inside::LiveObjects();
    for (int round = 0; round < kRounds; ++round) {
        Project project = Project::Create();
        Datum datum = project.Data().Add(u"A");
        std::atomic<bool> started{false};
        std::thread worker([&] {
            started = true;
            HRESULT status = S_OK;
            for (LONG rate = 0; status == S_OK; ++rate) {
                status = datum.Get()->put_SampleRate(rate);
                Ref<IProject> root;
                const HRESULT reached = datum.Get()->get_Root(root.Out());
                EXPECT_EQ(root != nullptr, reached == S_OK);
            }
            EXPECT_TRUE(FailsWith(4009, status));
        });
        while (!started) std::this_thread::yield();
        project = Project();
        worker.join();
        EXPECT_EQ(datum.Name(), u"A");
    }
    EXPECT_EQ(inside::LiveObjects(), before);
}

TEST(Threads, ObjectsAreReleasedOnOtherThreadsThanTheirMakers) {
    const std::size_t before = inside::LiveObjects();
    Project project = Project::Create();
    std::vector<Datum> held;
    for (int member = 0; member < 50; ++member) held.push_back(project.Data().Add(u"A"));
    std::thread([project = std::move(project)]() mutable { project = Project(); }).join();
    std::thread([half = std::vector<Datum>(held.begin(), held.begin() + 25)]() mutable { half.clear(); }).join();
    for (const Datum& datum : held) EXPECT_EQ(datum.Name(), u"A");
    std::thread([held = std::move(held)]() mutable { held.clear(); }).join();
    held.clear();
    EXPECT_EQ(inside::LiveObjects(), before);
}

}  // namespace
}  // namespace lumvex::tests
