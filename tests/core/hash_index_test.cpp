#include <gtest/gtest.h>

#include <map>
#include <random>

#include "generic/hash_index.hpp"

namespace lumvex {
namespace {

// Few hashes for many numbers, so that what a removal leaves has to be found across gaps that were closed, the end of
// the block included; the number of a hash's slot in a block of 16 is its last digit.
TEST(HashIndex, FindsWhatAMapFindsWhateverIsAddedRenumberedAndRemoved) {
    HashIndex index;
    std::map<std::uint32_t, std::uint32_t> hashes;  // by number
    std::mt19937 engine(1);
    const auto random = [&] { return static_cast<std::uint32_t>(engine()); };
    std::uint32_t next = 0;
    for (int step = 0; step < 4000; ++step) {
        const bool grows = hashes.size() < 8 || (hashes.size() < 400 && step / 500 % 2 == 0);
        if (grows || random() % 4 == 0) {
            const std::uint32_t hash = 0x10 * (random() % 4) + 0xD + random() % 6;
            const auto asked = hashes.find(random() % (next + 1));  // mostly not in the index any more
            if (random() % 2 == 0 && asked != hashes.end()) {
                const auto isIt = [&](std::uint32_t each) { return each == asked->first; };
                ASSERT_EQ(index.FindOrAdd(asked->second, next, isIt), asked->first);
                continue;
            }
            if (random() % 2 == 0)
                index.Add(hash, next);
            else
                ASSERT_EQ(index.FindOrAdd(hash, next, [](std::uint32_t) { return false; }), next);
            hashes[next++] = hash;
        } else {
            const auto chosen = std::next(hashes.begin(), static_cast<std::ptrdiff_t>(random() % hashes.size()));
            const auto [number, hash] = *chosen;
            hashes.erase(chosen);
            if (random() % 2 == 0) {
                index.Renumber(hash, number, next);
                hashes[next++] = hash;
            } else {
                index.Remove(hash, number);
            }
        }
        ASSERT_EQ(index.Count(), hashes.size());
        const std::uint32_t probe = random() % next;
        const auto known = hashes.find(probe);
        for (std::uint32_t hash = 0; hash < 0x60; ++hash) {
            const bool isThere = known != hashes.end() && known->second == hash;
            ASSERT_EQ(index.Find(hash, [&](std::uint32_t each) { return each == probe; }),
                      isThere ? probe : HashIndex::kNone);
        }
    }
    for (const auto& [number, hash] : hashes)
        EXPECT_EQ(index.Find(hash, [&, wanted = number](std::uint32_t each) { return each == wanted; }), number);
    index.Clear();
    EXPECT_TRUE(index.Empty());
    EXPECT_EQ(index.Find(0xD, [](std::uint32_t) { return true; }), HashIndex::kNone);
}

}  // namespace
}  // namespace lumvex
