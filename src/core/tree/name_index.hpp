// Finds members of a long collection by name, regardless of case. A search indexes the members that it passes, so that
// the index covers the list from its first member up to some place; members beyond it are searched one by one.
#pragma once

#include <map>
#include <unordered_map>
#include <utility>

#include "core/base/guid_order.hpp"
#include "core/objects/entry.hpp"

namespace lumvex::inside {

class NameIndex {
public:
    // To be asked once for each search of a list of so many members. A single search takes less time without an index,
    // and so does every search of a short list.
    bool IsWorthIt(std::size_t members) {
        constexpr std::size_t kLong = 32;
        return covered_ != 0 || (members >= kLong && std::exchange(wasSearched_, true));
    }

    std::size_t Covered() const { return covered_; }  // members, from the first on
    // The first that is not covered. Throws std::bad_alloc and covers nothing then.
    void Add(const Reference& member, std::u16string_view name);
    void Rename(const GUID& member, std::u16string_view name);  // nothing for one that is not covered
    void Erase(const GUID& member, std::size_t index);          // its place in the list, from 0
    void Clear() noexcept;

    // Calls visit(reference) for members that may have the name, in list order, until it answers true: all whose names
    // have the same hash.
    template <class Visit>
    void ForName(std::u16string_view name, Visit&& visit) const {
        const std::size_t hash = HashNoCase(name);
        for (auto at = byName_.lower_bound({hash, 0}); at != byName_.end() && at->first.first == hash; ++at)
            if (visit(at->second)) return;
    }

private:
    using Place = std::pair<std::size_t, std::uint64_t>;  // hash of the name, rank in the list

    std::map<Place, Reference> byName_;
    std::unordered_map<GUID, Place, GuidHash> places_;
    std::size_t covered_ = 0;
    bool wasSearched_ = false;
    std::uint64_t nextRank_ = 0;  // ranks rise along the list and outlive removals
};

}  // namespace lumvex::inside
