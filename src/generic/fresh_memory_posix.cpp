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

// The system chooses a place for more than is needed; what is before the first multiple and behind the region is given
// back.
void* TakeRegion(std::size_t size) noexcept {
    const std::size_t wider = size + kLargePage;
    void* const mapped = ::mmap(nullptr, wider, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapped == MAP_FAILED) return nullptr;
    const std::size_t before = (kLargePage - reinterpret_cast<std::uintptr_t>(mapped) % kLargePage) % kLargePage;
    std::byte* const region = static_cast<std::byte*>(mapped) + before;
    if (before != 0) ::munmap(mapped, before);
    if (before != kLargePage) ::munmap(region + size, kLargePage - before);
#ifdef MADV_HUGEPAGE  // Linux
    static_cast<void>(::madvise(region, size / kLargePage * kLargePage, MADV_HUGEPAGE));
#endif
    return region;
}

void GiveRegion(void* region, std::size_t size) noexcept { ::munmap(region, size); }

}  // namespace lumvex
