#include "kit/failing_allocation.hpp"

#include <cstdint>
#include <cstdlib>
#include <new>
#include <utility>

namespace lumvex::tests {
namespace {

thread_local long allocationsLeft = -1;  // negative: none fails
thread_local bool onlyOne = false, failed = false;

void* Allocate(std::size_t size) {
    if (allocationsLeft >= 0 && allocationsLeft-- == 0) {
        failed = true;
        if (!onlyOne) allocationsLeft = 0;
        return nullptr;
    }
    return std::malloc(size != 0 ? size : 1);
}

}  // namespace

void FailAllocation(long at, bool alone) noexcept {
    failed = false;
    onlyOne = alone;
    allocationsLeft = at;
}

bool EndFailingAllocation() noexcept {
    allocationsLeft = -1;
    return failed;
}

AllocationsSucceed::AllocationsSucceed() noexcept : left_(std::exchange(allocationsLeft, -1)) {}
AllocationsSucceed::~AllocationsSucceed() { allocationsLeft = left_; }

}  // namespace lumvex::tests

// Not inlined: g++ would see free() called on what new gave.
[[gnu::noinline]] void* operator new(std::size_t size) {
    void* memory = lumvex::tests::Allocate(size);
    if (!memory) throw std::bad_alloc();
    return memory;
}
[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return lumvex::tests::Allocate(size);
}
// What malloc() gave is right before the aligned block.
[[gnu::noinline]] void* operator new(std::size_t size, std::align_val_t alignment) {
    const auto aligned = static_cast<std::uintptr_t>(alignment);
    void* const memory = operator new(size + aligned);
    const std::uintptr_t block = (reinterpret_cast<std::uintptr_t>(memory) + aligned) & ~(aligned - 1);
    reinterpret_cast<void**>(block)[-1] = memory;
    return reinterpret_cast<void*>(block);
}
[[gnu::noinline]] void operator delete(void* memory, std::align_val_t) noexcept {
    if (memory) std::free(static_cast<void**>(memory)[-1]);
}
[[gnu::noinline]] void operator delete(void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
