// Random bytes that cannot be predicted and are different in every process.
#pragma once

#include <cstddef>

namespace lumvex::inside {

// Fills up to 256 bytes from the system's source; false when it has none. Nothing is kept between calls: a
// generator's state would be the same on both sides of a fork.
bool FillRandom(void* bytes, std::size_t count) noexcept;

}  // namespace lumvex::inside
