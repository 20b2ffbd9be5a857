// The ranges that are guarded, where a handler finds them without locks and without memory.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <utility>

#include "storage/compound/guard.hpp"

namespace lumvex::compound {

struct GuardedRange::Slot {
    std::atomic<bool> taken = false, failed = false;
    std::atomic<std::uintptr_t> begin = 0, end = 0;  // begin is set last and cleared first

    bool Holds(std::uintptr_t address) const noexcept {
        const std::uintptr_t from = begin.load(std::memory_order_acquire);
        return from != 0 && from <= address && address < end.load(std::memory_order_acquire);
    }
};

inline std::array<GuardedRange::Slot, 512> guardedSlots;
inline std::atomic<bool> guardAllowed = true;

[[nodiscard]] inline GuardedRange::Slot* SlotOf(std::uintptr_t address) noexcept {
    for (GuardedRange::Slot& slot : guardedSlots)
        if (slot.Holds(address)) return &slot;
    return nullptr;
}

// Null where all are taken.
[[nodiscard]] inline GuardedRange::Slot* TakeSlot(const void* base, std::size_t size) noexcept {
    for (GuardedRange::Slot& slot : guardedSlots) {
        if (slot.taken.exchange(true)) continue;
        slot.failed = false;
        slot.end = reinterpret_cast<std::uintptr_t>(base) + size;
        slot.begin = reinterpret_cast<std::uintptr_t>(base);
        return &slot;
    }
    return nullptr;
}

// Installs the handler where that was not done yet. False where another one has taken its place since.
[[nodiscard]] bool GuardIsInPlace() noexcept;

inline void GiveSlot(GuardedRange::Slot* slot) noexcept {
    if (slot == nullptr) return;
    slot->begin = 0;
    slot->taken = false;
}

}  // namespace lumvex::compound
