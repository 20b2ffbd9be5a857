// IDs as text, read at compile time as well.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "lumvex/automation.hpp"

namespace lumvex::inside {

template <class Char>
constexpr int HexDigit(Char unit) noexcept {
    if (unit >= '0' && unit <= '9') return unit - '0';
    if (unit >= 'A' && unit <= 'F') return unit - 'A' + 10;
    if (unit >= 'a' && unit <= 'f') return unit - 'a' + 10;
    return -1;
}

// "09A5CDEB-2933-4F88-9196-E13F80993ABB", in upper or lower case, without braces; none for any other text.
template <class Char>
constexpr std::optional<GUID> ParseGuidDigits(std::basic_string_view<Char> text) noexcept {
    constexpr std::string_view kShape = "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx";
    if (text.size() != kShape.size()) return std::nullopt;
    std::uint8_t bytes[16] = {};
    unsigned digits = 0;
    for (std::size_t at = 0; at < kShape.size(); ++at) {
        if (kShape[at] == '-') {
            if (text[at] != '-') return std::nullopt;
            continue;
        }
        const int digit = HexDigit(text[at]);
        if (digit < 0) return std::nullopt;
        bytes[digits / 2] = static_cast<std::uint8_t>(bytes[digits / 2] << 4 | digit);
        ++digits;
    }
    const auto number = [&](std::size_t at, std::size_t count) {
        std::uint32_t value = 0;
        while (count-- > 0) value = value << 8 | bytes[at++];
        return value;
    };
    GUID id{number(0, 4), static_cast<std::uint16_t>(number(4, 2)), static_cast<std::uint16_t>(number(6, 2)), {}};
    for (std::size_t at = 0; at < 8; ++at) id.Data4[at] = bytes[8 + at];
    return id;
}

}  // namespace lumvex::inside
