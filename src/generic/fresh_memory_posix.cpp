#include <sys/mman.h>

#include <cstdint>

#include "generic/fresh_memory.hpp"

namespace lumvex {

// Whole pages of 4096 bytes; where the system's are longer, it may refuse.
void AboutToFill([[maybe_unused]] void* begin, [[maybe_unused]] std::size_t size) noexcept {
#ifdef MADV_POPULATE_WRITE  // Linux; other systems have no such call
    constexpr std::uintptr_t kPage = 4096;
    const std::uintptr_t first = (reinterpret_cast<std::uintptr_t>(begin) + kPage - 1) & ~(kPage - 1);
    const std::uintptr_t end = (reinterpret_cast<std::uintptr_t>(begin) + size) & ~(kPage - 1);
    if (first < end) static_cast<void>(::madvise(reinterpret_cast<void*>(first), end - first, MADV_POPULATE_WRITE));
#endif
}

}  // namespace lumvex
