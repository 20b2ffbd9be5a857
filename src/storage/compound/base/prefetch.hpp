// Tells the processor that memory will be read soon, so that the read itself need not wait for it.
#pragma once

#include <cstddef>

namespace lumvex::compound {

constexpr std::size_t kCacheLine = 64;

// For bytes that begin on a cache line.
inline void Prefetch(const void* bytes, std::size_t size) noexcept {
#if defined(__GNUC__)
    const auto* at = static_cast<const char*>(bytes);
    for (std::size_t offset = 0; offset < size; offset += kCacheLine) __builtin_prefetch(at + offset);
#else
    static_cast<void>(bytes), static_cast<void>(size);
#endif
}

}  // namespace lumvex::compound
