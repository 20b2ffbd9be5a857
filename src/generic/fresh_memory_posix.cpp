#include <sys/mman.h>

#include <cstdint>
#include <new>

#include "generic/fresh_memory.hpp"

namespace lumvex {

namespace {

std::byte* Map(std::size_t size) {
    void* const begin = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (begin == MAP_FAILED) throw std::bad_alloc();
    return static_cast<std::byte*>(begin);
}

void Unmap(std::byte* begin, std::size_t size) noexcept {
    if (size != 0) ::munmap(begin, size);
}

bool IsAligned(const std::byte* part) { return reinterpret_cast<std::uintptr_t>(part) % kLargePart == 0; }

// Twice the memory is mapped, and what is around the aligned part is given back.
std::byte* MapAligned() {
    std::byte* const begin = Map(2 * kLargePart);
    const std::size_t before = kLargePart - reinterpret_cast<std::uintptr_t>(begin) % kLargePart;
    Unmap(begin, before);
    Unmap(begin + before + kLargePart, kLargePart - before);
    return begin + before;
}

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

void* TakeLargePart() {
    std::byte* part = Map(kLargePart);  // newer systems align it
    if (!IsAligned(part)) {
        Unmap(part, kLargePart);
        part = MapAligned();
    }
#ifdef MADV_HUGEPAGE  // Linux
    static_cast<void>(::madvise(part, kLargePart, MADV_HUGEPAGE));
#endif
    AboutToFill(part, kLargePart);
    return part;
}

void GiveLargePart(void* part) noexcept { Unmap(static_cast<std::byte*>(part), kLargePart); }

}  // namespace lumvex
