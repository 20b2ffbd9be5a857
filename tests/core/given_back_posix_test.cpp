// What is given back is the system's again. Programs that are watched by sanitizers keep it for a while, so they do not
// have this test.
#include <gtest/gtest.h>

#include <fstream>
#include <vector>

#include "generic/long_block.hpp"

namespace lumvex::tests {
namespace {

// On systems that say in this way how large the process is; on others both sizes are 0.
TEST(LongBlocks, AreTheSystemsAgainOnceTheyAreGivenBack) {
    const auto pages = [] {
        std::size_t count = 0;
        std::ifstream("/proc/self/statm") >> count;
        return count;
    };
    const std::size_t before = pages();
    constexpr std::size_t kSize = std::size_t{2} * 1024 * 1024, kCount = 40, kPage = 4096;
    for (int round = 0; round < 4; ++round) {
        std::vector<LongBlock> blocks;
        for (std::size_t each = 0; each < kCount; ++each) blocks.emplace_back(kSize, Filling::LittleByLittle);
    }
    EXPECT_LE(pages(), before + kSize / kPage * kCount / 2);
}

}  // namespace
}  // namespace lumvex::tests
