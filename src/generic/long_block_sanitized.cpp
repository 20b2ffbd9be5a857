// For programs that are watched while they run: each block is one of its own, so that a use after it was given back is
// noticed.
#include "generic/long_block.hpp"

#include <new>

namespace lumvex {

void* TakeLong(std::size_t size, Filling) { return ::operator new(size); }

void GiveLong(void* block, std::size_t) noexcept { ::operator delete(block); }

LongBlocksStay::LongBlocksStay() noexcept = default;
LongBlocksStay::~LongBlocksStay() = default;

}  // namespace lumvex
