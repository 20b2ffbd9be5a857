// Memory that is taken piece by piece and given back all at once.
#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

#include "generic/fresh_memory.hpp"
#include "generic/long_block.hpp"

namespace lumvex {

class GrowingMemory {
public:
    // What is taken first is taken out of so many bytes; later ones are out of more and more.
    explicit GrowingMemory(std::size_t first) : next_(first) {}

    // Aligned as operator new aligns if all sizes are multiples of that. What is taken next is mostly adjacent. Throws
    // std::bad_alloc.
    std::byte* Take(std::size_t size) {
        if (left_ < size) Extend(size);
        std::byte* const taken = at_;
        at_ += size;
        left_ -= size;
        return taken;
    }

private:
    // The longest blocks, of a large page, are going to be filled: so much was taken before.
    void Extend(std::size_t size) {
        const std::size_t taken = std::max(next_, size);
        blocks_.emplace_back(taken, taken < kLargePage ? Filling::LittleByLittle : Filling::AtOnce);
        at_ = blocks_.back().Data();
        left_ = taken;
        next_ = std::min(2 * next_, kLargePage);
    }

    std::size_t next_;
    std::vector<LongBlock> blocks_;
    std::byte* at_ = nullptr;
    std::size_t left_ = 0;  // bytes from at_ on
};

}  // namespace lumvex
