// A radix sort, for many elements in no order at all: a sort that compares takes several times as long.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <utility>

namespace lumvex::compound {

inline constexpr unsigned kBitsOfOnePass = 11;

// So many of the first bits of random keys decide nearly all comparisons among so many elements: the others are hardly
// more than one in sixteen. Bits of whole passes of SortByBits, and no more than `most`.
[[nodiscard]] inline unsigned BitsThatDecide(std::size_t count, unsigned most) {
    const unsigned needed = static_cast<unsigned>(std::bit_width(count)) + 4;
    return std::min((needed + kBitsOfOnePass - 1) / kBitsOfOnePass * kBitsOfOnePass, most);
}

// Sorts by the bits of keyOf(element) from firstBit on; elements that are equal in these keep their order. The list
// keeps its room.
template <class List, class KeyOf>
void SortByBits(List& all, unsigned firstBit, const KeyOf& keyOf) {
    using Element = typename List::value_type;
    constexpr unsigned kBits = kBitsOfOnePass;
    std::uint64_t bits = 0;  // that any key has
    for (const Element& each : all) bits |= keyOf(each);
    List sorted;
    sorted.reserve(all.capacity());
    sorted.resize(all.size());
    for (unsigned shift = firstBit; shift < 64 && bits >> shift != 0; shift += kBits) {
        std::array<std::size_t, 1u << kBits> next{};
        const auto digit = [&](const Element& each) {
            return static_cast<std::size_t>(keyOf(each) >> shift & ((1u << kBits) - 1));
        };
        for (const Element& each : all) ++next[digit(each)];
        std::size_t begin = 0;
        for (std::size_t& count : next) begin += std::exchange(count, begin);
        for (const Element& each : all) sorted[next[digit(each)]++] = each;
        all.swap(sorted);
    }
}

}  // namespace lumvex::compound
