// Random bytes that cannot be predicted and are different in every process, and the identifiers made of them.
#pragma once

#include <cstddef>
#include <optional>

#include "lumvex/values.hpp"

namespace lumvex::inside {

// This and PeekRandom are only where the system makes no identifiers itself.
// Fills up to 256 bytes from the stream of a key that the system's source gives; false when it has none. Every thread
// has a key of its own, for some kilobytes; a forked process starts with none, so that both sides of a fork get
// different bytes.
bool FillRandom(void* bytes, std::size_t count) noexcept;
// What the next FillRandom of this thread and of so many bytes fills in; false where that is not known yet.
bool PeekRandom(void* bytes, std::size_t count) noexcept;

// What CoCreateGuid makes next on this thread, as far as that is known already; none where the system makes it. For
// whoever makes ready for it and for nothing else: a forked process gets another one.
std::optional<GUID> GuessNextGuid() noexcept;

}  // namespace lumvex::inside
