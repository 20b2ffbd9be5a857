// A document's entries by ID. They stand in a list in the order in which they came (but for holes that the last one
// fills), so that going through all of them goes through memory; an index of hashes leads into it.
#pragma once

#include <algorithm>
#include <cstdint>
#include <utility>
#include <vector>

#include "core/objects/entry.hpp"
#include "core/base/guid_order.hpp"

namespace lumvex::inside {

class EntryTable {
public:
    std::size_t Count() const { return entries_.size(); }
    Entry& At(std::size_t place) const { return *entries_[place]; }

    Entry* Find(const GUID& id) const {
        const std::size_t slot = SlotOf(id);
        return slot == kNone ? nullptr : entries_[slots_[slot].place - 1].get();
    }

    // Its ID is not in the table yet.
    void Add(Ref<Entry> entry) {
        if (2 * (entries_.size() + 1) > slots_.size()) Grow();
        const GUID id = entry->id;
        entries_.push_back(std::move(entry));
        Insert({HighHashOf(id), static_cast<std::uint32_t>(entries_.size())});
    }

    // Nothing where it is not in the table. The last entry takes its place in the list.
    Ref<Entry> Take(const GUID& id) {
        const std::size_t slot = SlotOf(id);
        if (slot == kNone) return nullptr;
        const std::uint32_t place = slots_[slot].place;
        if (place != entries_.size()) slots_[SlotOf(entries_.back()->id)].place = place;
        std::swap(entries_[place - 1], entries_.back());
        Ref<Entry> taken = std::move(entries_.back());
        entries_.pop_back();
        Close(slot);
        return taken;
    }

    // Keeps the room: adding as many as there were cannot fail.
    void Clear() noexcept {
        std::ranges::fill(slots_, Slot());
        entries_.clear();
    }

private:
    struct Slot {
        std::uint32_t hash = 0, place = 0;  // in the list, counted from 1; 0: empty
    };
    static constexpr std::size_t kNone = ~std::size_t{0};

    static std::uint32_t HighHashOf(const GUID& id) { return static_cast<std::uint32_t>(HashOf(id) >> 32); }
    std::size_t Mask() const { return slots_.size() - 1; }

    std::size_t SlotOf(const GUID& id) const {
        if (slots_.empty()) return kNone;
        const std::uint32_t hash = HighHashOf(id);
        for (std::size_t at = hash & Mask(); slots_[at].place != 0; at = (at + 1) & Mask())
            if (slots_[at].hash == hash && IsEqualGUID(entries_[slots_[at].place - 1]->id, id)) return at;
        return kNone;
    }

    void Insert(Slot slot) {
        std::size_t at = slot.hash & Mask();
        while (slots_[at].place != 0) at = (at + 1) & Mask();
        slots_[at] = slot;
    }

    void Grow() {
        std::vector<Slot> slots(std::max<std::size_t>(16, 2 * slots_.size()));
        entries_.reserve(slots.size() / 2);
        slots.swap(slots_);
        for (const Slot& slot : slots)
            if (slot.place != 0) Insert(slot);
    }

    // What stands behind an emptied slot and would not be found any more moves up.
    void Close(std::size_t gap) {
        for (std::size_t at = gap;;) {
            at = (at + 1) & Mask();
            if (slots_[at].place == 0) break;
            const std::size_t home = slots_[at].hash & Mask();
            if (((at - home) & Mask()) < ((at - gap) & Mask())) continue;
            slots_[gap] = slots_[at];
            gap = at;
        }
        slots_[gap] = {};
    }

    std::vector<Ref<Entry>> entries_;
    std::vector<Slot> slots_;  // a power of two, at most half of them in use
};

}  // namespace lumvex::inside
