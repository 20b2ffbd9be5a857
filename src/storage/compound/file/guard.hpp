// A guard for bytes of a file that are mapped into memory. Where the system cannot read them (the disk is bad or was
// pulled, a network drive was lost, another program cut the file short) it would end the whole program. Behind a guard
// they read as zeros instead, and a mark is set. Whoever reads them asks for the mark before using what was read.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace lumvex::compound {

class GuardedRange {
public:
    GuardedRange() = default;
    // Guards a whole mapping, which must outlive this object. False where there is no guard: the program that uses the
    // library has refused it or has replaced its handler, or too many ranges are guarded. Then nothing may be mapped.
    GuardedRange(void* base, std::size_t size) noexcept;
    GuardedRange(GuardedRange&& other) noexcept;
    GuardedRange& operator=(GuardedRange&& other) noexcept;
    ~GuardedRange();

    explicit operator bool() const { return slot_ != nullptr; }
    // Some bytes could not be read. From then on others may read as zeros too.
    bool Failed() const noexcept { return slot_ != nullptr && slot_->failed.load(std::memory_order_acquire); }

    struct Slot {
        std::atomic<bool> taken = false, failed = false;
        std::atomic<std::uintptr_t> begin = 0,
                                    end =
                                        0;  // begin is set last and cleared first: 0 says that the range is not guarded
    };

private:
    Slot* slot_ = nullptr;
};

// Whether ranges that are made from now on are guarded.
void AllowGuard(bool allowed) noexcept;

}  // namespace lumvex::compound
