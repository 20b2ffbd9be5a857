#include <sys/mman.h>

#include <cstdint>

#include "generic/fresh_memory.hpp"

namespace lumvex {

namespace {

std::byte* Map(std::size_t size) noexcept {  // null where there is no memory
    void* const begin = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return begin == MAP_FAILED ? nullptr : static_cast<std::byte*>(begin);
}

std::size_t BeyondAligned(const std::byte* at) { return reinterpret_cast<std::uintptr_t>(at) % kLargePage; }

}  // namespace

// Whole pages of 4096 bytes; where the system's are longer, it may refuse.
void AboutToFill([[maybe_unused]] void* begin, [[maybe_unused]] std::size_t size) noexcept {
#ifdef MADV_POPULATE_WRITE  // Linux; other systems have no such call
    constexpr std::uintptr_t kPage = 4096;
    const std::uintptr_t first = (reinterpret_cast<std::uintptr_t>(begin) + kPage - 1) & ~(kPage - 1);
    const std::uintptr_t end = (reinterpret_cast<std::uintptr_t>(begin) + size) & ~(kPage - 1);
    if (first < end) static_cast<void>(::madvise(reinterpret_cast<void*>(first), end - first, MADV_POPULATE_WRITE));
#endif
}

// Newer systems choose an aligned place. On others more is mapped, and what is around the aligned part is given back.
void* TakeRegion(std::size_t size) noexcept {
    std::byte* region = Map(size);
    if (BeyondAligned(region) != 0) {
        ::munmap(region, size);
        std::byte* const mapped = Map(size + kLargePage);
        if (!mapped) return nullptr;
        const std::size_t before = kLargePage - BeyondAligned(mapped);
        region = mapped + before;
        ::munmap(mapped, before);
        if (before != kLargePage) ::munmap(region + size, kLargePage - before);
    }
#ifdef MADV_HUGEPAGE  // Linux
    if (region) static_cast<void>(::madvise(region, size / kLargePage * kLargePage, MADV_HUGEPAGE));
#endif
    return region;
}

void GiveRegion(void* region, std::size_t size) noexcept { ::munmap(region, size); }

}  // namespace lumvex
