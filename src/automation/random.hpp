// Random bytes that cannot be predicted and are different in every process.
#pragma once

#include <cstddef>

namespace lumvex::inside {

// Fills up to 256 bytes from the system's source; false when it has none. Every thread keeps a few of the system's
// bytes for its next calls; a forked process starts with none, so that both sides of a fork get different ones.
bool FillRandom(void* bytes, std::size_t count) noexcept;

}  // namespace lumvex::inside
