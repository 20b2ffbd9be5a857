// Memory from the system that nobody has touched yet.
#pragma once

#include <cstddef>

namespace lumvex {

// Somebody is about to fill these bytes. At the first touch of each page the system stops the program, to find a page
// and clear it; asked for all of them at once it takes half as long. Where the system cannot do that, nothing happens.
void AboutToFill(void* begin, std::size_t size) noexcept;

// Parts of this size are for memory of which much is needed, and all of it is going to be filled: where the system can,
// it gives such a part as one large page, which takes a fifth of the time of many small ones.
inline constexpr std::size_t kLargePart = std::size_t{2} << 20;
// Its address is a multiple of its size. Throws std::bad_alloc.
[[nodiscard]] void* TakeLargePart();
void GiveLargePart(void* part) noexcept;

}  // namespace lumvex
