// Tells the processor that memory will be read soon, so that the read itself need not wait for it.
#pragma once

#include <cstddef>

namespace lumvex {

constexpr std::size_t kCacheLine = 64;

// For bytes that begin on a cache line. GCC takes a function that does nothing but prefetch for one without any effect,
// and leaves calls of it out; so this one is inline, and those that only call it have to be.
[[gnu::always_inline]] inline void Prefetch(const void* bytes, std::size_t size) noexcept {
#if defined(__GNUC__)
    const auto* at = static_cast<const char*>(bytes);
    for (std::size_t offset = 0; offset < size; offset += kCacheLine) __builtin_prefetch(at + offset);
#else
    static_cast<void>(bytes), static_cast<void>(size);
#endif
}

}  // namespace lumvex
