#include "command_line/suggestion.hpp"

#include <algorithm>

namespace lumvex::app {

namespace {

// How many letters have to be put in, left out, replaced or swapped with the next one.
std::size_t Distance(const std::string& left, const std::string& right) {
    const std::size_t width = right.size() + 1;
    std::vector<std::size_t> distances((left.size() + 1) * width);
    const auto at = [&](std::size_t row, std::size_t column) -> std::size_t& {
        return distances[row * width + column];
    };
    for (std::size_t row = 0; row <= left.size(); ++row) {
        for (std::size_t column = 0; column < width; ++column) {
            if (row == 0 || column == 0) {
                at(row, column) = row + column;
                continue;
            }
            const bool same = left[row - 1] == right[column - 1];
            at(row, column) =
                std::min({at(row - 1, column) + 1, at(row, column - 1) + 1, at(row - 1, column - 1) + (same ? 0 : 1)});
            const bool swapped =
                row > 1 && column > 1 && left[row - 1] == right[column - 2] && left[row - 2] == right[column - 1];
            if (swapped) at(row, column) = std::min(at(row, column), at(row - 2, column - 2) + 1);
        }
    }
    return distances.back();
}

}  // namespace

std::string ClosestTo(const std::string& mistyped, const std::vector<std::string>& known) {
    // Of names that are equally close the one with the same letters is meant: "erport" is "report", not "export".
    std::string closest;
    std::size_t least = 2 * std::max<std::size_t>(1, mistyped.size() / 3) + 1;
    for (const std::string& each : known) {
        const std::size_t distance = each.starts_with(mistyped) && mistyped.size() > 1 ? 1 : Distance(mistyped, each);
        const bool hasSameLetters = std::is_permutation(mistyped.begin(), mistyped.end(), each.begin(), each.end());
        const std::size_t weight = 2 * distance - (hasSameLetters && distance > 0 ? 1 : 0);
        if (weight >= least) continue;
        least = weight;
        closest = each;
    }
    return closest;
}

std::string DidYouMean(const std::string& mistyped, const std::vector<std::string>& known) {
    const std::string closest = ClosestTo(mistyped, known);
    return closest.empty() ? "" : "; did you mean \"" + closest + "\"?";
}

}  // namespace lumvex::app
