// Memory from the system that nobody has touched yet.
#pragma once

#include <cstddef>

namespace lumvex {

// Somebody is about to fill these bytes. At the first touch of each page the system stops the program, to find a page
// and clear it; asked for all of them at once it takes half as long. Where the system cannot do that, nothing happens.
void AboutToFill(void* begin, std::size_t size) noexcept;

inline constexpr std::size_t kLargePage = std::size_t{2} * 1024 * 1024;

// Memory in large pages where the system has such, as far as the size has whole ones; in pages of 4096 bytes elsewhere.
// Null where there is none. The size is a multiple of 4096.
[[nodiscard]] void* TakeRegion(std::size_t size) noexcept;
void GiveRegion(void* region, std::size_t size) noexcept;

}  // namespace lumvex
