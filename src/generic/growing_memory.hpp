// Memory that is taken piece by piece and given back all at once.
#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <vector>

#include "generic/fresh_memory.hpp"

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
    struct Free {
        bool isLargePart;
        void operator()(std::byte* block) const noexcept {
            if (isLargePart)
                GiveLargePart(block);
            else
                ::operator delete(block);
        }
    };

    // From half of a large part on, the next one is a large part.
    void Extend(std::size_t size) {
        const bool isLargePart = next_ >= kLargePart / 2 && size <= kLargePart;
        const std::size_t taken = isLargePart ? kLargePart : std::max(next_, size);
        blocks_.reserve(blocks_.size() + 1);
        void* const block = isLargePart ? TakeLargePart() : ::operator new(taken);
        blocks_.emplace_back(static_cast<std::byte*>(block), Free{isLargePart});
        at_ = blocks_.back().get();
        left_ = taken;
        if (!isLargePart) next_ = 2 * taken;
    }

    std::size_t next_;
    std::vector<std::unique_ptr<std::byte, Free>> blocks_;
    std::byte* at_ = nullptr;
    std::size_t left_ = 0;  // bytes from at_ on
};

}  // namespace lumvex
