// std::stable_sort for compilers that complain of the standard library's own: libstdc++ takes its memory by a function
// that the library itself marks as deprecated, and clang 19 reports that to the caller.
#pragma once

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <numeric>
#include <utility>
#include <vector>

namespace lumvex::compound {

// Elements of which neither is before the other stay in their order.
template <class Iterator, class IsBefore>
void StableSort(Iterator begin, Iterator end, const IsBefore& isBefore) {
    using Difference = std::iter_difference_t<Iterator>;
    std::vector<Difference> order(static_cast<std::size_t>(end - begin));
    std::iota(order.begin(), order.end(), Difference{0});
    std::sort(order.begin(), order.end(), [&](Difference a, Difference b) {
        return isBefore(begin[a], begin[b]) || (a < b && !isBefore(begin[b], begin[a]));
    });
    std::vector<std::iter_value_t<Iterator>> sorted;
    sorted.reserve(order.size());
    for (const Difference at : order) sorted.push_back(std::move(begin[at]));
    std::move(sorted.begin(), sorted.end(), begin);
}

}  // namespace lumvex::compound
