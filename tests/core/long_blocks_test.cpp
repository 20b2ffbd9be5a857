// Long blocks, taken and given by threads beside each other. In programs that are watched by sanitizers each block is
// one of operator new's, and there is nothing of ours to test: they do not have this test.
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "generic/long_block.hpp"
#include "kit/random.hpp"

namespace lumvex::tests {
namespace {

// Whichever thread takes and gives them, of sizes on both sides of
// those at which they come from elsewhere. What is out exceeds what comes from operator new.
TEST(LongBlocks, ThatAreOutAtTheSameTimeDoNotOverlap) {
    constexpr std::size_t kKiB = 1024, kMiB = kKiB * kKiB, kStep = 256;
    constexpr std::size_t kSizes[] = {1,          kKiB - 1, kKiB,         kKiB + 1,        16 * kKiB, 64 * kKiB - 64,
                                      513 * kKiB, kMiB,     2 * kMiB - 1, 4 * kMiB - kKiB, 4 * kMiB,  4 * kMiB + 1,
                                      9 * kMiB};
    constexpr std::size_t kAlignments[] = {kUsualAlignment, kUsualAlignment, kKiB, 32 * kKiB, 64 * kKiB};
    struct Give {
        std::size_t size, alignment;
        void operator()(std::byte* block) const { GiveLong(block, size, alignment); }
    };
    struct Marked {
        std::unique_ptr<std::byte, Give> block;
        std::byte mark;
    };
    const auto forEachStep = [](const Marked& each, const auto& visit) {
        const std::size_t size = each.block.get_deleter().size;
        for (std::size_t at = 0; at < size; at += kStep) visit(each.block.get()[at]);
        visit(each.block.get()[size - 1]);
    };
    std::mutex lock;
    std::vector<Marked> out;
    const auto work = [&](unsigned seed) {
        Random random(seed);
        for (int round = 0; round < 600; ++round) {
            const Give how{random.Of(kSizes), random.Of(kAlignments)};
            const Filling filling = random.OneIn(2) ? Filling::AtOnce : Filling::LittleByLittle;
            auto* const block = static_cast<std::byte*>(TakeLong(how.size, filling, how.alignment));
            Marked mine{{block, how}, std::byte(random.Next())};
            EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % how.alignment, 0u);
            forEachStep(mine, [&](std::byte& at) { at = mine.mark; });
            {
                const std::scoped_lock locked(lock);
                if (out.size() < 20) {
                    out.push_back(std::move(mine));
                    continue;
                }
                std::swap(out[random.Below(out.size())], mine);
            }
            forEachStep(mine, [&](const std::byte& at) { ASSERT_EQ(at, mine.mark); });
        }
    };
    std::vector<std::thread> threads;
    for (unsigned seed = 1; seed <= 3; ++seed) threads.emplace_back(work, seed);
    for (std::thread& thread : threads) thread.join();
}

}  // namespace
}  // namespace lumvex::tests
