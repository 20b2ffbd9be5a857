// Many random bytes from few: the cipher ChaCha with eight rounds. Whoever does not know the key cannot tell its stream
// from random bytes.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

namespace lumvex {

using StreamKey = std::array<std::uint32_t, 8>;
inline constexpr std::size_t kStreamPart = 256;  // bytes: four blocks of the cipher

// One word of each of four blocks, which are computed side by side. The compilers of all systems whose identifiers are
// made here have such vectors.
using FourWords = std::uint32_t __attribute__((vector_size(16)));

// The number-th part of the key's stream.
inline void KeyStream(const StreamKey& key, std::uint64_t number, std::span<std::byte, kStreamPart> part) noexcept {
    constexpr unsigned kBlocks = 4, kRounds = 8;
    const auto same = [](std::uint32_t word) { return FourWords{word, word, word, word}; };
    std::array<FourWords, 16> first{same(0x61707865), same(0x3320646E), same(0x79622D32), same(0x6B206574)};
    for (std::size_t at = 0; at < key.size(); ++at) first[4 + at] = same(key[at]);
    for (unsigned block = 0; block < kBlocks; ++block) {
        const std::uint64_t counter = number * kBlocks + block;
        first[12][block] = static_cast<std::uint32_t>(counter);
        first[13][block] = static_cast<std::uint32_t>(counter >> 32);
    }
    std::array<FourWords, 16> words = first;
    const auto step = [&words](std::size_t sum, std::size_t added, std::size_t turned, int bits) {
        words[sum] += words[added];
        const FourWords mixed = words[turned] ^ words[sum];
        words[turned] = mixed << bits | mixed >> (32 - bits);
    };
    const auto mix = [&step](std::size_t a, std::size_t b, std::size_t c, std::size_t d) {
        step(a, b, d, 16);
        step(c, d, b, 12);
        step(a, b, d, 8);
        step(c, d, b, 7);
    };
    for (unsigned round = 0; round < kRounds; round += 2) {
        mix(0, 4, 8, 12), mix(1, 5, 9, 13), mix(2, 6, 10, 14), mix(3, 7, 11, 15);
        mix(0, 5, 10, 15), mix(1, 6, 11, 12), mix(2, 7, 8, 13), mix(3, 4, 9, 14);
    }
    for (std::size_t at = 0; at < words.size(); ++at) words[at] += first[at];
    std::byte* out = part.data();
    for (unsigned block = 0; block < kBlocks; ++block)
        for (std::size_t at = 0; at < words.size(); ++at) {
            const std::uint32_t word = words[at][block];
            if constexpr (std::endian::native == std::endian::little)
                std::memcpy(out, &word, sizeof word);
            else
                for (unsigned byte = 0; byte < sizeof word; ++byte)
                    out[byte] = static_cast<std::byte>(word >> 8 * byte);
            out += sizeof word;
        }
}

}  // namespace lumvex
