// Threads beside each other: every call is serialised, and a last release may come from anywhere.
#include <algorithm>
#include <atomic>
#include <mutex>
#include <optional>
#include <thread>

#include "core/objects/block_pool.hpp"
#include "core/objects/guard.hpp"
#include "kit/published.hpp"
#include "kit/random.hpp"
#include "lumvex/host.hpp"

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

// Neither the calls of the thread that has it nor the end of an inner one let others in between.
TEST(Threads, SeveralCallsKeepOthersOut) {
    Project project = Project::Create();
    const Data data = project.Data();
    Datum datum = data.Add(u"A");
    std::atomic<bool> started{false}, stop{false};
    std::thread other;
    const auto changeAndLook = [&](LONG rate) {
        datum.SampleRate(rate);
        for (int look = 0; look < 1000; ++look) EXPECT_EQ(datum.SampleRate(), rate);
    };
    {
        const SeveralCalls outer;
        other = std::thread([&] {
            started = true;
            while (!stop) datum.SampleRate(0);
        });
        while (!started) std::this_thread::yield();
        changeAndLook(1);
        { const SeveralCalls inner; }
        changeAndLook(2);
    }
    inside::Guarded(u"", [&] {
        const SeveralCalls inCall;
        changeAndLook(3);
        return S_OK;
    });
    stop = true;
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

// Blocks that are out at the same time do not overlap, whichever thread takes and gives them, inside of calls or not.
TEST(Threads, TakeAndGiveBlocksOfMemory) {
    struct Block {
        std::byte* at;
        std::size_t size;
        std::byte filling;
    };
    std::mutex lock;
    std::vector<Block> out;
    const auto work = [&](unsigned seed) {
        Random random(seed);
        for (int round = 0; round < 3000; ++round) {
            std::optional<inside::Call> call;
            if (random.OneIn(2)) call.emplace();
            for (std::size_t steps = random.Below(60); steps > 0; --steps) {
                std::unique_lock locked(lock);
                if (out.size() < 3000 && (out.empty() || random.OneIn(2) || round % 500 < 250)) {
                    locked.unlock();
                    const std::size_t size = 1 + random.Below(random.OneIn(20) ? 2000 : 300);
                    Block made{static_cast<std::byte*>(inside::TakeBlock(size)), size, std::byte(random.Next())};
                    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(made.at) % inside::kBlockAlignment, 0u);
                    std::fill_n(made.at, size, made.filling);
                    locked.lock();
                    out.push_back(made);
                } else if (!out.empty()) {
                    std::swap(out[random.Below(out.size())], out.back());
                    const Block last = out.back();
                    out.pop_back();
                    locked.unlock();
                    ASSERT_EQ(std::count(last.at, last.at + last.size, last.filling), std::ptrdiff_t(last.size));
                    inside::GiveBlock(last.at, last.size);
                }
            }
        }
    };
    std::vector<std::thread> threads;
    for (unsigned seed = 1; seed <= 3; ++seed) threads.emplace_back(work, seed);
    for (std::thread& thread : threads) thread.join();
    for (const Block& each : out) inside::GiveBlock(each.at, each.size);
}

}  // namespace
}  // namespace lumvex::tests
