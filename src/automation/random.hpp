// Random bytes that cannot be predicted and are different in every process.
#pragma once

#include <cstddef>

namespace lumvex::inside {

// Fills up to 256 bytes from the stream of a key that the system's source gives; false when it has none. Every thread
// has a key of its own, for some kilobytes; a forked process starts with none, so that both sides of a fork get
// different bytes.
bool FillRandom(void* bytes, std::size_t count) noexcept;

}  // namespace lumvex::inside
