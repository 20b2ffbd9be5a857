// A document's entries by ID. They are kept in a list in the order in which they came, but for the last one, which
// takes the place of one that goes: so going through all of them goes through memory from one end to the other.
#pragma once

#include <cstdint>
#include <utility>

#include "core/base/guid_order.hpp"
#include "core/objects/entry.hpp"
#include "generic/hash_index.hpp"
#include "generic/long_vector.hpp"
#include "generic/make_room.hpp"

namespace lumvex::inside {

class EntryTable {
public:
    std::size_t Count() const { return entries_.size(); }
    Entry& At(std::size_t place) const { return *entries_[place]; }

    Entry* Find(const GUID& id) const {
        const std::uint32_t place = PlaceOf(id);
        return place == HashIndex::kNone ? nullptr : entries_[place].get();
    }

    // The ID is going to be looked for or added soon.
    [[gnu::always_inline]] inline void Expect(const GUID& id) const { places_.Expect(HighHashOf(id)); }

    // Room for so many entries in all. Throws std::bad_alloc.
    void Reserve(std::size_t count) {
        entries_.reserve(count);
        places_.Reserve(count);
    }

    // Its ID is not in the table yet. Throws std::bad_alloc and has then done nothing.
    void Add(Ref<Entry> entry) {
        MakeRoom(entries_, 1);
        places_.Add(HighHashOf(entry->id), static_cast<std::uint32_t>(entries_.size()));
        entries_.push_back(std::move(entry));
    }

    // The entry of the ID, or the one that make() answers, which is in the table now. Throws what make() throws, or
    // std::bad_alloc, and has then done nothing.
    template <class Make>
    Entry& FindOrAdd(const GUID& id, Make&& make) {
        const std::uint32_t hash = HighHashOf(id);
        const auto next = static_cast<std::uint32_t>(entries_.size());
        const std::uint32_t place = places_.FindOrAdd(hash, next, [&](std::uint32_t each) { return IsOf(id, each); });
        if (place == next) {
            try {
                entries_.push_back(make());
            } catch (...) {
                places_.Remove(hash, next);
                throw;
            }
        }
        return *entries_[place];
    }

    // Null where the ID is not in the table. The last entry takes its place in the list.
    Ref<Entry> Take(const GUID& id) {
        const std::uint32_t place = PlaceOf(id);
        if (place == HashIndex::kNone) return nullptr;
        places_.Remove(HighHashOf(id), place);
        const auto last = static_cast<std::uint32_t>(entries_.size() - 1);
        if (place != last) places_.Renumber(HighHashOf(entries_.back()->id), last, place);
        std::swap(entries_[place], entries_.back());
        Ref<Entry> taken = std::move(entries_.back());
        entries_.pop_back();
        return taken;
    }

    // Takes all entries out of which leaves(entry) holds. The others stay in order.
    template <class Leaves>
    void TakeIf(Leaves&& leaves) noexcept {
        if (std::erase_if(entries_, [&](const Ref<Entry>& entry) { return leaves(*entry); }) == 0) return;
        places_.Clear();  // keeps the room
        for (std::size_t place = 0; place < entries_.size(); ++place)
            places_.Add(HighHashOf(entries_[place]->id), static_cast<std::uint32_t>(place));
    }

    // Calls leave(entry) for each entry, which may be its last use. Keeps the room: adding as many as there were cannot
    // fail.
    template <class Leave>
    void TakeAll(Leave&& leave) noexcept {
        places_.Clear();
        for (Ref<Entry>& entry : entries_) {
            leave(*entry);
            entry = nullptr;
        }
        entries_.clear();
    }

private:
    static std::uint32_t HighHashOf(const GUID& id) { return static_cast<std::uint32_t>(HashOf(id) >> 32); }

    bool IsOf(const GUID& id, std::uint32_t place) const { return IsEqualGUID(entries_[place]->id, id) != 0; }
    std::uint32_t PlaceOf(const GUID& id) const {
        return places_.Find(HighHashOf(id), [&](std::uint32_t place) { return IsOf(id, place); });
    }

    LongVector<Ref<Entry>> entries_;
    HashIndex places_;  // in entries_
};

}  // namespace lumvex::inside
