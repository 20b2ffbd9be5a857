// A radix sort, for many elements in no order at all: a sort that compares takes several times as long.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace lumvex::compound {

// Sorts by the bits of keyOf(element) from firstBit on; elements that are equal in these keep their order.
template <class Element, class KeyOf>
void SortByBits(std::vector<Element>& all, unsigned firstBit, const KeyOf& keyOf) {
    constexpr unsigned kBits = 11;
    std::uint64_t highest = 0;
    for (const Element& each : all) highest = std::max<std::uint64_t>(highest, keyOf(each));
    std::vector<Element> sorted(all.size());
    for (unsigned shift = firstBit; shift < 64 && highest >> shift != 0; shift += kBits) {
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
