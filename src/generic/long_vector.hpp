// A list that may get long and is needed for a while: its memory is a long block, which others use again at once.
#pragma once

#include <cstddef>
#include <new>
#include <vector>

#include "generic/long_block.hpp"

namespace lumvex {

template <class T>
struct LongAllocator {
    using value_type = T;

    LongAllocator() = default;
    template <class Other>
    LongAllocator(const LongAllocator<Other>&) noexcept {}

    // Throws std::bad_alloc.
    T* allocate(std::size_t count) {
        if (count > kMost) throw std::bad_array_new_length();
        const std::size_t size = count * sizeof(T);
        return static_cast<T*>(size < kLong ? ::operator new(size) : TakeLong(size, Filling::AtOnce));
    }
    void deallocate(T* block, std::size_t count) noexcept {
        const std::size_t size = count * sizeof(T);
        if (size < kLong)
            ::operator delete(block);
        else
            GiveLong(block, size);
    }
    template <class Other>
    bool operator==(const LongAllocator<Other>&) const noexcept {
        return true;
    }

private:
    static_assert(alignof(T) <= __STDCPP_DEFAULT_NEW_ALIGNMENT__);
    static constexpr std::size_t kLong = std::size_t{16} * 1024;  // bytes
    static constexpr std::size_t kMost = ~std::size_t{0} / 2 / sizeof(T);
};

template <class T>
using LongVector = std::vector<T, LongAllocator<T>>;

}  // namespace lumvex
