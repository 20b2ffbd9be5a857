// The guarded ranges in a table, which a handler can search without locking and without allocating.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <utility>

#include "storage/compound/file/guard.hpp"

namespace lumvex::compound {

inline std::array<GuardedRange::Slot, 512> guardedSlots;
inline std::atomic<bool> guardAllowed = true;

[[nodiscard]] inline GuardedRange::Slot* SlotOf(std::uintptr_t address) noexcept {
    for (GuardedRange::Slot& slot : guardedSlots) {
        const std::uintptr_t begin = slot.begin.load(std::memory_order_acquire);
        if (begin != 0 && begin <= address && address < slot.end.load(std::memory_order_acquire)) return &slot;
    }
    return nullptr;
}

// Null where all slots are taken.
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

// Installs the handler at the first call. False where somebody has replaced it since.
[[nodiscard]] bool GuardIsInPlace() noexcept;

inline void GiveSlot(GuardedRange::Slot* slot) noexcept {
    if (slot == nullptr) return;
    slot->begin = 0;
    slot->taken = false;
}

}  // namespace lumvex::compound
