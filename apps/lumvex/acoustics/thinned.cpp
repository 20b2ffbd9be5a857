#include "acoustics/thinned.hpp"

#include <algorithm>

namespace lumvex::acoustics {

std::vector<std::size_t> Thinned(std::span<const double> values, std::span<const std::size_t> parts) {
    std::vector<std::size_t> kept;
    for (std::size_t part = 0; part < parts.size(); ++part) {
        const std::size_t first = parts[part], last = part + 1 < parts.size() ? parts[part + 1] : values.size();
        if (first >= last) continue;
        const auto inside = values.subspan(first, last - first);
        const auto lowest = std::ranges::min_element(inside), highest = std::ranges::max_element(inside);
        const std::size_t low = first + static_cast<std::size_t>(lowest - inside.begin());
        const std::size_t high = first + static_cast<std::size_t>(highest - inside.begin());
        kept.push_back(std::min(low, high));
        if (low != high) kept.push_back(std::max(low, high));
    }
    return kept;
}

std::vector<std::size_t> EqualParts(std::size_t count, std::size_t parts) {
    std::vector<std::size_t> first;
    parts = std::min(count, parts);
    for (std::size_t part = 0; part < parts; ++part) first.push_back(part * count / parts);
    return first;
}

}  // namespace lumvex::acoustics
