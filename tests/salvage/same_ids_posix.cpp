// IDs that are the same in every run, so that a seed damages the same document.
#include <cstdint>
#include <cstring>

#include "automation/random.hpp"
#include "kit/random.hpp"

namespace lumvex::inside {

bool FillRandom(void* bytes, std::size_t count) noexcept {
    static tests::Random random(1);
    for (std::size_t at = 0; at < count; ++at)
        static_cast<std::uint8_t*>(bytes)[at] = static_cast<std::uint8_t>(random.Next());
    return true;
}

bool PeekRandom(void*, std::size_t) noexcept { return false; }

}  // namespace lumvex::inside
