// IDs as keys: ordered and hashed as their 16 bytes in memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "lumvex/automation.hpp"

namespace lumvex::inside {

inline int CompareIds(const GUID& left, const GUID& right) noexcept { return std::memcmp(&left, &right, sizeof(GUID)); }

struct GuidLess {
    bool operator()(const GUID& left, const GUID& right) const noexcept { return CompareIds(left, right) < 0; }
};

// IDs are random or made by a generator: their halves folded together spread well.
inline std::uint64_t HashOf(const GUID& id) noexcept {
    std::uint64_t halves[2];
    std::memcpy(halves, &id, sizeof halves);
    return (halves[0] ^ (halves[1] * 0x9E3779B97F4A7C15u)) * 0xBF58476D1CE4E5B9u;
}

struct GuidHash {
    std::size_t operator()(const GUID& id) const noexcept { return static_cast<std::size_t>(HashOf(id)); }
};

}  // namespace lumvex::inside
