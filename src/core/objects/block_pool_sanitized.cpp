// For programs that are watched while they run: each block is one of its own, so that a use after it was given back is
// noticed. In front of it is its size, so that a block that is given back as one of another size is noticed as well.
#include <cassert>
#include <new>

#include "core/objects/block_pool.hpp"

namespace lumvex::inside {

namespace {
constexpr std::size_t kHead = __STDCPP_DEFAULT_NEW_ALIGNMENT__;
}

void* TakeBlock(std::size_t size) {
    auto* const base = static_cast<std::byte*>(::operator new(kHead + size));
    new (base) std::size_t(size);
    return base + kHead;
}

void GiveBlock(void* block, [[maybe_unused]] std::size_t size) noexcept {
    if (!block) return;
    std::byte* const base = static_cast<std::byte*>(block) - kHead;
    assert(*reinterpret_cast<const std::size_t*>(base) == size);
    ::operator delete(base);
}

}  // namespace lumvex::inside
