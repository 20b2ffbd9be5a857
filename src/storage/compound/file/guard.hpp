// Bytes of a file that are mapped into memory, behind a guard: where the system cannot read them (a bad disk, a pulled
// one, a lost network drive, a file that another program cut short), they read as zeros and a mark is set, instead of the
// whole program being ended. Who reads them asks for the mark before using what was read.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace lumvex::compound {

class GuardedRange {
public:
    GuardedRange() = default;
    // Guards a whole mapping that lives longer. False where the guard is not to be had: the host has refused it
    // or has put a handler of its own in its place since, or too many ranges are guarded; then nothing may be mapped.
    GuardedRange(void* base, std::size_t size) noexcept;
    GuardedRange(GuardedRange&& other) noexcept;
    GuardedRange& operator=(GuardedRange&& other) noexcept;
    ~GuardedRange();

    explicit operator bool() const { return slot_ != nullptr; }
    // A read has met bytes that could not be read; others may read as zeros since.
    bool Failed() const noexcept { return slot_ != nullptr && slot_->failed.load(std::memory_order_acquire); }

    struct Slot {
        std::atomic<bool> taken = false, failed = false;
        std::atomic<std::uintptr_t> begin = 0, end = 0;  // begin is set last and cleared first
    };

private:
    Slot* slot_ = nullptr;
};

// Ranges from now on are guarded, or not.
void AllowGuard(bool allowed) noexcept;

}  // namespace lumvex::compound
