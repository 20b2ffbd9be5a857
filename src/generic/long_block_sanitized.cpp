// For programs that are watched while they run: each block is one of its own, so that a use after it was given back is
// noticed.
#include "generic/long_block.hpp"

#include <new>

namespace lumvex {

void* TakeLong(std::size_t size, Filling, std::size_t alignment) {
    return ::operator new(size, std::align_val_t(alignment));
}

void GiveLong(void* block, std::size_t, std::size_t alignment) noexcept {
    ::operator delete(block, std::align_val_t(alignment));
}

LongBlocksStay::LongBlocksStay() noexcept = default;
LongBlocksStay::~LongBlocksStay() = default;

}  // namespace lumvex
