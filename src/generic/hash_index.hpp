// A hash table over a list that belongs to the user of the table. It keeps hashes and places in the list (8 bytes for
// each element, in one block of memory, by open addressing); the user compares the elements.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "generic/long_vector.hpp"
#include "generic/prefetch.hpp"

namespace lumvex {

class HashIndex {
public:
    static constexpr std::uint32_t kNone = 0xFFFFFFFF;  // every other number may be put in

    std::size_t Count() const { return count_; }
    bool Empty() const { return count_ == 0; }

    // The number that was put in under the hash and of which isIt(number) holds; kNone where there is none.
    template <class Test>
    std::uint32_t Find(std::uint32_t hash, Test&& isIt) const {
        const std::size_t slot = SlotOf(hash, isIt);
        return slot == kNoSlot ? kNone : slots_[slot].Number();
    }

    // The same where there is one; else the given number, which is in the index now. Throws as Reserve does.
    template <class Test>
    std::uint32_t FindOrAdd(std::uint32_t hash, std::uint32_t number, Test&& isIt) {
        if (IsTooMany(count_ + 1)) {
            const std::uint32_t found = Find(hash, isIt);
            if (found != kNone) return found;
            Grow();
        }
        std::size_t at = hash & Mask();
        for (; slots_[at].IsUsed(); at = (at + 1) & Mask())
            if (slots_[at].hash == hash && isIt(slots_[at].Number())) return slots_[at].Number();
        slots_[at] = Slot(hash, number);
        ++count_;
        return number;
    }

    // Room for so many numbers in all, so that adding them cannot fail. Throws std::bad_alloc and has then done
    // nothing.
    void Reserve(std::size_t count) {
        if (IsTooMany(count)) Resize(std::bit_ceil(std::max<std::size_t>(count + (count + 1) / 2, kFewestSlots)));
    }

    // The hash is going to be looked for or added soon.
    [[gnu::always_inline]] inline void Expect(std::uint32_t hash) const {
        if (!slots_.empty()) Prefetch(&slots_[hash & Mask()], sizeof(Slot));
    }

    // The number must not be in the index yet. Throws as Reserve does.
    void Add(std::uint32_t hash, std::uint32_t number) {
        if (IsTooMany(count_ + 1)) Grow();
        Insert({hash, number});
        ++count_;
    }

    // An element is another place of the list from now on. The hash and the old number must be in the index.
    void Renumber(std::uint32_t hash, std::uint32_t from, std::uint32_t to) noexcept {
        slots_[SlotOf(hash, [from](std::uint32_t number) { return number == from; })] = Slot(hash, to);
    }

    // Nothing where the hash and the number are not in the index.
    void Remove(std::uint32_t hash, std::uint32_t number) noexcept {
        const std::size_t slot = SlotOf(hash, [number](std::uint32_t each) { return each == number; });
        if (slot == kNoSlot) return;
        CloseGap(slot);
        --count_;
    }

    // Keeps the room: adding as many as there were cannot fail.
    void Clear() noexcept {
        static_assert(std::is_trivially_copyable_v<Slot>);
        if (count_ != 0) std::memset(static_cast<void*>(slots_.data()), 0, slots_.size() * sizeof(Slot));
        count_ = 0;
    }

private:
    struct Slot {
        Slot() = default;
        Slot(std::uint32_t hashOf, std::uint32_t number) : hash(hashOf), behind(number + 1) {}
        bool IsUsed() const { return behind != 0; }
        std::uint32_t Number() const { return behind - 1; }

        std::uint32_t hash = 0;
        std::uint32_t behind = 0;  // the number and one; so empty slots are zero bytes, which are written faster
    };
    static constexpr std::size_t kNoSlot = ~std::size_t{0}, kFewestSlots = 16;

    bool IsTooMany(std::size_t count) const { return 3 * count > 2 * slots_.size(); }
    std::size_t Mask() const { return slots_.size() - 1; }

    template <class Test>
    std::size_t SlotOf(std::uint32_t hash, Test&& isIt) const {
        if (slots_.empty()) return kNoSlot;
        for (std::size_t at = hash & Mask(); slots_[at].IsUsed(); at = (at + 1) & Mask())
            if (slots_[at].hash == hash && isIt(slots_[at].Number())) return at;
        return kNoSlot;
    }

    void Insert(const Slot& slot) {
        std::size_t at = slot.hash & Mask();
        while (slots_[at].IsUsed()) at = (at + 1) & Mask();
        slots_[at] = slot;
    }

    void Resize(std::size_t count) {
        LongVector<Slot> slots(count);
        slots.swap(slots_);
        for (const Slot& slot : slots)
            if (slot.IsUsed()) Insert(slot);
    }
    // Seldom, and therefore apart from where it is asked.
    [[gnu::noinline]] void Grow() { Resize(std::max(2 * slots_.size(), kFewestSlots)); }

    // A slot behind the gap that could not be reached across it moves into it and leaves the next gap.
    void CloseGap(std::size_t gap) noexcept {
        for (std::size_t at = (gap + 1) & Mask(); slots_[at].IsUsed(); at = (at + 1) & Mask()) {
            const std::size_t home = slots_[at].hash & Mask();
            if (((at - home) & Mask()) < ((at - gap) & Mask())) continue;
            slots_[gap] = slots_[at];
            gap = at;
        }
        slots_[gap] = {};
    }

    LongVector<Slot> slots_;  // a power of two, at most two thirds of them in use
    std::size_t count_ = 0;
};

}  // namespace lumvex
