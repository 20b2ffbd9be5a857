// Bytes that tell each place from every other.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace lumvex::tests {

inline std::vector<std::byte> Pattern(std::size_t size, unsigned seed) {
    std::vector<std::byte> bytes(size);
    std::uint32_t state = seed * 2654435761u + 12345;
    for (std::byte& byte : bytes) {
        state = state * 1664525u + 1013904223u;
        byte = static_cast<std::byte>(state >> 24);
    }
    return bytes;
}

}  // namespace lumvex::tests
