// Fewer points of a curve that look the same: of every part the lowest and the highest.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace lumvex::acoustics {

// Which of the values to keep, in their order: the lowest and the highest of each part. `parts` holds the places at
// which parts begin, rising; the last part ends with the values. A part of one or two values is kept as it is.
std::vector<std::size_t> Thinned(std::span<const double> values, std::span<const std::size_t> parts);

// Places at which equal parts of `count` values begin, at most so many parts.
std::vector<std::size_t> EqualParts(std::size_t count, std::size_t parts);

}  // namespace lumvex::acoustics
