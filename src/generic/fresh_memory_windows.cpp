#include <windows.h>

#include "generic/fresh_memory.hpp"

namespace lumvex {

void AboutToFill(void*, std::size_t) noexcept {}

// Large pages need a privilege that programs do not have.
void* TakeRegion(std::size_t size) noexcept {
    return ::VirtualAlloc(nullptr, size, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
}

void GiveRegion(void* region, std::size_t) noexcept { ::VirtualFree(region, 0, MEM_RELEASE); }

}  // namespace lumvex
