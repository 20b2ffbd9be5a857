// Asks for memory some time before it is read.
#pragma once

#include <cstddef>

namespace lumvex::compound {

constexpr std::size_t kCacheLine = 64;

// Every cache line that begins within the bytes when they begin one.
inline void Prefetch(const void* bytes, std::size_t size) noexcept {
#if defined(__GNUC__)
    const auto* at = static_cast<const char*>(bytes);
    for (std::size_t offset = 0; offset < size; offset += kCacheLine) __builtin_prefetch(at + offset);
#else
    static_cast<void>(bytes), static_cast<void>(size);
#endif
}

}  // namespace lumvex::compound
