#include "core/tree/name_index.hpp"

#include <new>

namespace lumvex::inside {

void NameIndex::Add(const Reference& member, NameMark mark) {
    const Place place{mark, nextRank_};
    // A broken file may list a member twice: the first counts.
    try {
        if (places_.emplace(member.id, place).second) byName_.emplace(place, member);
    } catch (const std::bad_alloc&) {
        Clear();  // both tables have to agree; the next search fills them again
        throw;
    }
    ++nextRank_;
    ++covered_;
}

void NameIndex::Rename(const GUID& member, NameMark mark) noexcept {
    if (covered_ == 0) return;
    const auto found = places_.find(member);
    if (found == places_.end()) return;
    const Place renamed{mark, found->second.second};
    if (renamed == found->second) return;
    auto node = byName_.extract(found->second);
    node.key() = renamed;
    byName_.insert(std::move(node));
    found->second = renamed;
}

void NameIndex::Erase(const GUID& member, std::size_t index) {
    if (index >= covered_) return;
    --covered_;
    const auto found = places_.find(member);
    if (found == places_.end()) return;
    byName_.erase(found->second);
    places_.erase(found);
}

void NameIndex::Clear() noexcept {
    byName_.clear();
    places_.clear();
    covered_ = compared_ = 0;
}

}  // namespace lumvex::inside
