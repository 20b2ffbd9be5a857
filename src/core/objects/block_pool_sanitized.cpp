// For programs that are watched while they run: each block is one of its own, so that a use after it was given back is
// noticed.
#include <new>

#include "core/objects/block_pool.hpp"

namespace lumvex::inside {

void* TakeBlock(std::size_t size) { return ::operator new(size); }

void GiveBlock(void* block) noexcept { ::operator delete(block); }

}  // namespace lumvex::inside
