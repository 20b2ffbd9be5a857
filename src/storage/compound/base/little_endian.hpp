// Numbers as files hold them, little-endian, on processors of either byte order.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace lumvex::compound {

template <class Number>
[[nodiscard]] inline Number Swapped(Number number) {
    if constexpr (std::endian::native == std::endian::big) {
        Number swapped = 0;
        for (std::size_t i = 0; i < sizeof(Number); ++i)
            swapped = static_cast<Number>((swapped << 8) | ((number >> (8 * i)) & 0xFF));
        return swapped;
    } else {
        return number;
    }
}

template <class Number>
[[nodiscard]] inline Number Load(const std::byte* from) {
    Number number;
    std::memcpy(&number, from, sizeof number);
    return Swapped(number);
}

template <class Number>
inline void Store(std::byte* to, Number number) {
    number = Swapped(number);
    std::memcpy(to, &number, sizeof number);
}

[[nodiscard]] inline std::uint32_t Load32(const std::byte* from) { return Load<std::uint32_t>(from); }
inline void Store32(std::byte* to, std::uint32_t number) { Store(to, number); }

}  // namespace lumvex::compound
