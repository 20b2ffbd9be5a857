// Case without a locale: simple case folding of the Basic Multilingual Plane, each unit by the upper-case form of what
// it folds to, so that forms which fold alike (sigma and final sigma, K and the Kelvin sign) are one.
#include <algorithm>
#include <cstdint>

#include "lumvex/values.hpp"
#include "unicode/upper_case.hpp"

namespace lumvex {

// Some upper-case letters fold to one that has another upper case; the dotless i folds to itself.
char16_t ToUpper(char16_t unit) noexcept {
    switch (unit) {
        case 0x0131:
            return unit;
        case 0x03F4:
            return 0x0398;
        case 0x1E9E:
            return 0x00DF;
        case 0x2126:
            return 0x03A9;
        case 0x212A:
            return u'K';
        case 0x212B:
            return 0x00C5;
        default:
            return unicode::UpperCase(unit);
    }
}

int CompareNoCase(std::u16string_view left, std::u16string_view right) noexcept {
    const std::size_t common = std::min(left.size(), right.size());
    for (std::size_t i = 0; i < common; ++i) {
        if (left[i] == right[i]) continue;
        const int difference = int{ToUpper(left[i])} - int{ToUpper(right[i])};
        if (difference != 0) return difference;
    }
    return left.size() < right.size() ? -1 : left.size() > right.size() ? 1 : 0;
}

std::size_t HashNoCase(std::u16string_view text) noexcept {
    std::uint64_t hash = 0xCBF29CE484222325u;  // FNV-1a over the units
    for (const char16_t unit : text) hash = (hash ^ ToUpper(unit)) * 0x100000001B3u;
    return static_cast<std::size_t>(hash ^ (hash >> 32));
}

}  // namespace lumvex
