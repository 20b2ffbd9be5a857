// What is given back is the system's again. Programs that are watched by sanitizers keep it for a while, so they do not
// have this test.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <vector>

#include "core/objects/block_pool.hpp"
#include "generic/long_block.hpp"

namespace lumvex::tests {
namespace {

constexpr std::size_t kMiB = std::size_t{1024} * 1024;

// On systems that say in this way how large the process is; on others the size is always 0.
TEST(LongBlocks, AreTheSystemsAgainOnceTheyAreGivenBackAndNobodyKeepsThem) {
    const auto pages = [] {
        std::size_t count = 0;
        std::ifstream("/proc/self/statm") >> count;
        return count;
    };
    const std::size_t before = pages();
    constexpr std::size_t kSize = 2 * kMiB, kCount = 40, kPage = 4096;
    const std::size_t between = before + (before == 0 ? 0 : kSize / kPage * kCount / 2);
    const auto takeAndGive = [&] {
        std::vector<LongBlock> blocks;
        for (std::size_t each = 0; each < kCount; ++each) blocks.emplace_back(kSize, Filling::LittleByLittle);
    };
    for (int round = 0; round < 4; ++round) takeAndGive();
    EXPECT_LE(pages(), between);
    {
        const LongBlocksStay outer;
        {
            const LongBlocksStay stay;
            takeAndGive();
        }
        EXPECT_GE(pages(), between);
    }
    EXPECT_LE(pages(), between);
}

TEST(LongBlocks, ThatComeBackAreTakenAgainBeforeFreshMemory) {
    std::vector<LongBlock> blocks;
    for (int each = 0; each < 15; ++each) blocks.emplace_back(kMiB, Filling::AtOnce);  // of two regions
    for (const std::size_t place : {3u, 8u, 12u}) {
        const std::byte* const was = blocks[place].Data();
        blocks[place] = LongBlock();
        blocks[place] = LongBlock(kMiB, Filling::AtOnce);
        EXPECT_EQ(blocks[place].Data(), was) << place;
    }
    // Also of another region than the one that got room last, which has more that was never used.
    const std::byte* const was = blocks[3].Data();
    blocks[3] = LongBlock();
    blocks[12] = LongBlock();
    const LongBlock taken[] = {{kMiB, Filling::AtOnce}, {kMiB, Filling::AtOnce}, {kMiB, Filling::AtOnce}};
    EXPECT_TRUE(std::ranges::any_of(taken, [&](const LongBlock& each) { return each.Data() == was; }));
}

// Also those of pieces that had been used up.
TEST(Blocks, ThatComeBackAreTakenAgainBeforeFreshMemory) {
    for (const std::size_t size : {1u, 64u, 120u, 129u, 512u}) {
        std::vector<void*> kept, given, taken;
        for (int each = 0; each < 3000; ++each) (each % 3 == 0 ? given : kept).push_back(inside::TakeBlock(size));
        for (void* const block : given) inside::GiveBlock(block, size);
        for (std::size_t each = 0; each < given.size(); ++each) taken.push_back(inside::TakeBlock(size));
        std::ranges::sort(given);
        std::ranges::sort(taken);
        EXPECT_EQ(taken, given) << size;
        for (const auto& blocks : {kept, taken})
            for (void* const block : blocks) inside::GiveBlock(block, size);
    }
}

}  // namespace
}  // namespace lumvex::tests
