// Memory for what a document makes tens of thousands of and lets go together: objects, their entries and their arrays.
// Blocks of one size come from the same pieces of memory and go back to them: a general allocator would put free
// neighbours together again and again, which takes most of the time of closing a large document.
#pragma once

#include <cstddef>
#include <new>

namespace lumvex::inside {

inline constexpr std::size_t kBlockAlignment = 8;  // bytes: what objects have in them needs no more

// Throws std::bad_alloc. Inside of a published call or not: the lock that calls hold guards the pieces.
[[nodiscard]] void* TakeBlock(std::size_t size);
// Of the size it was taken with; wherever it was taken. Null is no block.
void GiveBlock(void* block, std::size_t size) noexcept;

// For lists that many objects have: most of them are short.
template <class T>
struct BlockAllocator {
    static_assert(alignof(T) <= kBlockAlignment);
    using value_type = T;

    BlockAllocator() = default;
    template <class U>
    BlockAllocator(const BlockAllocator<U>&) noexcept {}

    T* allocate(std::size_t count) {
        if (count > static_cast<std::size_t>(-1) / sizeof(T)) throw std::bad_alloc();
        return static_cast<T*>(TakeBlock(count * sizeof(T)));
    }
    void deallocate(T* block, std::size_t count) noexcept { GiveBlock(block, count * sizeof(T)); }
    bool operator==(const BlockAllocator&) const = default;
};

}  // namespace lumvex::inside
