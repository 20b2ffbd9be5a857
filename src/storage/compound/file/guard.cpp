#include "storage/compound/file/guard.hpp"

#include "storage/compound/file/guard_slots.hpp"

namespace lumvex::compound {

GuardedRange::GuardedRange(void* base, std::size_t size) noexcept
    : slot_(guardAllowed && GuardIsInPlace() ? TakeSlot(base, size) : nullptr) {}

GuardedRange::GuardedRange(GuardedRange&& other) noexcept : slot_(std::exchange(other.slot_, nullptr)) {}

GuardedRange& GuardedRange::operator=(GuardedRange&& other) noexcept {
    std::swap(slot_, other.slot_);
    return *this;
}

GuardedRange::~GuardedRange() { GiveSlot(slot_); }

void AllowGuard(bool allowed) noexcept { guardAllowed = allowed; }

}  // namespace lumvex::compound
